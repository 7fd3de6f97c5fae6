#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>
#include "host/platform/file_descriptor.h"
#include "host/platform/system_error.h"

namespace salvor {

/// Bytes in a row, counted from the start of a file, a device or a medium.
struct ByteRange {
    std::int64_t first = 0;
    std::int64_t count = 0;
    bool operator==(const ByteRange&) const = default;
};

/// What a path leads to.
enum class DeviceKind { Unopened, File, BlockDevice, Folder, Pipe, Other };

/// A regular file or block device, open for reading only. Offsets and lengths are in bytes. Reads may come from several
/// threads.
class Device {
public:
    /// Never waits, not even for a pipe. Of what is neither a file nor a block device only the kind is known.
    explicit Device(const std::string& path);

    /// One that another process has open, as it has passed the `Descriptors` on.
    explicit Device(std::span<const int> descriptors);

    DeviceKind Kind() const { return kind_; }
    /// Why it is `Unopened`.
    SystemError Error() const { return error_; }
    /// When it was opened.
    std::int64_t Size() const { return size_; }
    /// What the hardware reads, or fails to read, as one; 512 for files.
    std::int32_t SectorSize() const { return sectorSize_; }

    /// Reads up to `length` bytes; fewer, or none, when the rest cannot be read.
    std::size_t ReadAt(std::int64_t offset, std::uint8_t* buffer, std::size_t length) const;

    /// The same past the system's cache where that is possible, so that a bad sector does not take the rest of its page
    /// along.
    std::size_t ReadUncached(std::int64_t offset, std::uint8_t* buffer, std::size_t length) const;

    /// The first bytes at `offset` or behind it that the file system keeps; what lies in front of them is a hole and
    /// reads as zeros. Short holes are taken for data. Empty, at the end, if there is only a hole.
    ByteRange NextData(std::int64_t offset) const;

    /// From now on the system reads nothing ahead that it was not asked for.
    void ReadOnlyWhatIsAsked() const;

    /// The system's number of the open file or device.
    int Descriptor() const { return fd_.Get(); }
    /// All of them, for a process that cannot open it by name.
    std::vector<int> Descriptors() const;

private:
    void LookAt();
    bool MeasureBlockDevice();

    FileDescriptor fd_;
    // Of a block device: the same without the system's cache.
    FileDescriptor direct_;
    DeviceKind kind_ = DeviceKind::Unopened;
    SystemError error_;
    std::int64_t size_ = 0;
    std::int32_t sectorSize_ = 512;
    bool mayHaveHoles_ = false;
};

}  // namespace salvor
