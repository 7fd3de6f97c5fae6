#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

#include "host/platform/file_descriptor.h"

namespace salvor {

/// Bytes that another process may be given, and that have no name: it reads and writes them through the descriptor.
/// Not open, with the system's error set, if there is no memory.
FileDescriptor MakeMemoryFile(std::string_view bytes, std::string_view behind = {});

/// All bytes of a file that another process has made with `MakeMemoryFile`.
std::string ReadMemoryFile(int descriptor);

/// Memory that several processes share.
class SharedMemory {
public:
    /// Maps the first `size` bytes of a file in memory, which is extended if needed. Throws `std::bad_alloc`.
    SharedMemory(int descriptor, std::size_t size);
    SharedMemory(SharedMemory&& other) noexcept
        : data_(std::exchange(other.data_, nullptr)), size_(std::exchange(other.size_, 0)) {}
    SharedMemory& operator=(SharedMemory&& other) noexcept {
        std::swap(data_, other.data_);
        std::swap(size_, other.size_);
        return *this;
    }
    ~SharedMemory();

    /// Page-aligned; zeros at first.
    void* Data() const { return data_; }

private:
    void* data_ = nullptr;
    std::size_t size_ = 0;
};

}  // namespace salvor
