#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>

#include "host/platform/file_descriptor.h"
#include "host/platform/system_error.h"

namespace salvor {

/// Which file of the system it is, whatever its names.
struct FileIdentity {
    std::uint64_t device = 0;
    std::uint64_t number = 0;
    bool operator==(const FileIdentity&) const = default;
};

/// Of the file that this descriptor has open.
std::optional<FileIdentity> IdentityOf(int descriptor);

/// An open file of bytes; sizes and offsets have 64 bits. A call that fails leaves its reason in `Error`.
class File {
public:
    explicit File(FileDescriptor fd) : fd_(std::move(fd)) {}
    /// One that could not be opened.
    explicit File(SystemError error) : error_(error) {}

    bool IsOpen() const { return fd_.IsOpen(); }
    const SystemError& Error() const { return error_; }

    /// Reads on from where the last read ended. Fewer bytes than `length` only at the end or after an error.
    std::size_t Read(void* buffer, std::size_t length);
    /// Reads all of `length` bytes at `offset`.
    bool ReadAt(std::int64_t offset, void* buffer, std::size_t length);
    /// Writes all of it behind what was written before.
    bool Write(const void* data, std::size_t length);
    /// The same with bytes of another regular file: the kernel copies, and shares the blocks where the file system can.
    /// False, with nothing written, if it does not serve here.
    bool CopyFrom(int source, std::int64_t offset, std::size_t length);

    /// Of a regular file.
    std::optional<std::int64_t> Size() const;
    /// Cuts the file to so many bytes; what is written next follows them.
    bool CutTo(std::int64_t bytes);
    /// Keeps room on the disk for the file to grow by as many bytes; its size stays. What is not used is given back
    /// with `ReleaseRoom`. Not every file system can.
    bool KeepRoom(std::int64_t bytes);
    void ReleaseRoom();
    /// Takes the file for this process until it is closed; false if another one has it. Where files cannot be locked it
    /// is taken to be free.
    bool Lock();
    /// What was written reaches stable storage. A pipe or a terminal has none; that is no failure.
    bool Sync();
    /// Asks the system to begin to store what was written, so that a later `Sync` waits less.
    void BeginToStore();
    bool Close();
    /// The number under which the process has it open.
    int Descriptor() const { return fd_.Get(); }
    /// Leaves it to another owner.
    FileDescriptor TakeDescriptor() { return std::move(fd_); }

private:
    bool Check(bool done);

    FileDescriptor fd_;
    SystemError error_;
};

}  // namespace salvor
