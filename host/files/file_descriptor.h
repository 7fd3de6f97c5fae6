#pragma once

#include <unistd.h>

#include <utility>

namespace salvor {

/// Owns a POSIX file descriptor; -1 is none.
class FileDescriptor {
public:
    explicit FileDescriptor(int fd = -1) : fd_(fd) {}
    FileDescriptor(FileDescriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        std::swap(fd_, other.fd_);
        return *this;
    }
    ~FileDescriptor() {
        if (fd_ >= 0) {
            close(fd_);
        }
    }

    bool IsOpen() const { return fd_ >= 0; }
    int Get() const { return fd_; }

    /// Closes now; false, with `errno` set, when the system reports a late write error.
    bool Close() { return close(std::exchange(fd_, -1)) == 0; }

private:
    int fd_;
};

}  // namespace salvor
