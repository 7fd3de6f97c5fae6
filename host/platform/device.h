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

/// The kind of file that a path leads to.
enum class DeviceKind { Unopened, File, BlockDevice, Folder, Pipe, Other };

/// A regular file or block device, open for reading only. Offsets and lengths are in bytes. Reads may come from several
/// threads.
class Device {
public:
    /// Never blocks, not even on a pipe. For anything but a file or a block device, only the kind is known.
    explicit Device(const std::string& path);

    /// A device that another process has opened, from the `Descriptors` that it passed.
    explicit Device(std::span<const int> descriptors);

    DeviceKind Kind() const { return kind_; }
    /// Why the kind is `Unopened`.
    SystemError Error() const { return error_; }
    /// The size when it was opened.
    std::int64_t Size() const { return size_; }
    /// The unit in which the hardware reads, or fails to read; 512 for files.
    std::int32_t SectorSize() const { return sectorSize_; }

    /// Reads up to `length` bytes; fewer, or none, if the rest cannot be read.
    std::size_t ReadAt(std::int64_t offset, std::uint8_t* buffer, std::size_t length) const;

    /// The same without the system's cache, if possible, so that a bad sector does not take the rest of its page with
    /// it.
    std::size_t ReadUncached(std::int64_t offset, std::uint8_t* buffer, std::size_t length) const;

    /// The first bytes at or after `offset` that the file system stores; everything before them is a hole and reads as
    /// zeros. Short holes count as data. Empty, and at the end, if there is only a hole.
    ByteRange NextData(std::int64_t offset) const;

    /// Stops the system from reading ahead.
    void ReadOnlyWhatIsAsked() const;

    /// The descriptor of the open file or device.
    int Descriptor() const { return fd_.Get(); }
    /// All descriptors, for a process that cannot open it by name.
    std::vector<int> Descriptors() const;

private:
    void LookAt();
    bool MeasureBlockDevice();

    FileDescriptor fd_;
    // For a block device: the same without the system's cache.
    FileDescriptor direct_;
    DeviceKind kind_ = DeviceKind::Unopened;
    SystemError error_;
    std::int64_t size_ = 0;
    std::int32_t sectorSize_ = 512;
    bool mayHaveHoles_ = false;
};

}  // namespace salvor
