#pragma once

#include <utility>

namespace salvor {

/// Owns a descriptor of the system for an open file, device or folder; -1 for none.
class FileDescriptor {
public:
    explicit FileDescriptor(int fd = -1) : fd_(fd) {}
    FileDescriptor(FileDescriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        std::swap(fd_, other.fd_);
        return *this;
    }
    ~FileDescriptor() { Close(); }

    bool IsOpen() const { return fd_ >= 0; }
    int Get() const { return fd_; }
    /// Leaves closing it to the caller.
    int Release() { return std::exchange(fd_, -1); }

    /// Closes it now, if it is open; false, with `errno` set, for a write error that shows only now.
    bool Close();

private:
    int fd_;
};

}  // namespace salvor
