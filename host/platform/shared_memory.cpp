#include "host/platform/shared_memory.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <new>

#include "host/platform/file.h"

namespace salvor {

FileDescriptor MakeMemoryFile(std::string_view bytes, std::string_view behind) {
    File file(FileDescriptor(memfd_create("salvor", MFD_CLOEXEC | MFD_ALLOW_SEALING)));
    const bool isWritten =
        file.IsOpen() && file.Write(bytes.data(), bytes.size()) && file.Write(behind.data(), behind.size());
    return isWritten ? file.TakeDescriptor() : FileDescriptor();
}

std::string ReadMemoryFile(int descriptor) {
    struct stat info {};
    if (fstat(descriptor, &info) != 0) {
        return {};
    }
    std::string bytes(static_cast<std::size_t>(info.st_size), '\0');
    const ssize_t got = pread(descriptor, bytes.data(), bytes.size(), 0);
    bytes.resize(got < 0 ? 0 : static_cast<std::size_t>(got));
    return bytes;
}

SharedMemory::SharedMemory(int descriptor, std::size_t size) : size_(size) {
    struct stat info {};
    const auto wanted = static_cast<off_t>(size);
    if (fstat(descriptor, &info) != 0 || (info.st_size < wanted && ftruncate(descriptor, wanted) != 0)) {
        throw std::bad_alloc();
    }
    // Seals the size: the other process must not be able to shrink the memory.
    fcntl(descriptor, F_ADD_SEALS, F_SEAL_SHRINK);
    void* const mapped = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
    if (mapped == MAP_FAILED) {
        throw std::bad_alloc();
    }
    data_ = mapped;
}

SharedMemory::~SharedMemory() {
    if (data_ != nullptr) {
        munmap(data_, size_);
    }
}

}  // namespace salvor
