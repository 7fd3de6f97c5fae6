#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>

#include "host/platform/file_descriptor.h"
#include "host/platform/system_error.h"

namespace salvor {

/// Identifies a file of the system, whatever its names.
struct FileIdentity {
    std::uint64_t device = 0;
    std::uint64_t number = 0;
    bool operator==(const FileIdentity&) const = default;
};

/// The identity of the file that is open as this descriptor.
std::optional<FileIdentity> IdentityOf(int descriptor);

/// An open file of bytes with 64-bit sizes and offsets. A call that fails leaves its reason in `Error`.
class File {
public:
    explicit File(FileDescriptor fd) : fd_(std::move(fd)) {}
    /// A file that could not be opened.
    explicit File(SystemError error) : error_(error) {}

    bool IsOpen() const { return fd_.IsOpen(); }
    const SystemError& Error() const { return error_; }

    /// Reads on from where the last read ended. Gives fewer bytes than `length` only at the end or after an error.
    std::size_t Read(void* buffer, std::size_t length);
    /// Reads all of `length` bytes at `offset`.
    bool ReadAt(std::int64_t offset, void* buffer, std::size_t length);
    /// Appends all of it to what was written before.
    bool Write(const void* data, std::size_t length);
    /// The same with bytes of another regular file: the kernel copies them, and shares the blocks if the file system
    /// can. False, with nothing written, if this is not possible here.
    bool CopyFrom(int source, std::int64_t offset, std::size_t length);

    /// The size of a regular file.
    std::optional<std::int64_t> Size() const;
    /// Truncates the file to this many bytes; what is written next follows them.
    bool CutTo(std::int64_t bytes);
    /// Reserves room on the disk for the file to grow by this many bytes; its size stays. `ReleaseRoom` gives back what
    /// is not used. Not every file system can do this.
    bool KeepRoom(std::int64_t bytes);
    void ReleaseRoom();
    /// Locks the file for this process until it is closed; false if another process has locked it. True where files
    /// cannot be locked.
    bool Lock();
    /// Brings what was written to stable storage. A pipe or a terminal has none; that is no failure.
    bool Sync();
    /// Asks the system to start storing what was written, so that a later `Sync` takes less time.
    void BeginToStore();
    bool Close();
    /// The file's descriptor.
    int Descriptor() const { return fd_.Get(); }
    /// Hands the descriptor over to another owner.
    FileDescriptor TakeDescriptor() { return std::move(fd_); }

private:
    bool Check(bool done);

    FileDescriptor fd_;
    SystemError error_;
};

}  // namespace salvor
