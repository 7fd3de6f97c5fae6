#include "host/platform/file_descriptor.h"

#include <unistd.h>

namespace salvor {

bool FileDescriptor::Close() { return !IsOpen() || close(std::exchange(fd_, -1)) == 0; }

}  // namespace salvor
