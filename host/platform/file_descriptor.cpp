#include "host/platform/file_descriptor.h"

#include <fcntl.h>
#include <unistd.h>

namespace salvor {

bool FileDescriptor::IsTaken(int fd) { return fcntl(fd, F_GETFD) >= 0; }

bool FileDescriptor::Close() { return !IsOpen() || close(std::exchange(fd_, -1)) == 0; }

}  // namespace salvor
