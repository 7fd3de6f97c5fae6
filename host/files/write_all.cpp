#include "host/files/write_all.h"

#include <unistd.h>

#include <cerrno>

namespace salvor {

bool WriteAll(int fd, const void* data, std::size_t length) {
    const auto* from = static_cast<const char*>(data);
    while (length > 0) {
        const ssize_t done = write(fd, from, length);
        if (done < 0 && errno == EINTR) {
            continue;
        }
        if (done <= 0) {
            errno = done == 0 ? EIO : errno;
            return false;
        }
        from += done;
        length -= static_cast<std::size_t>(done);
    }
    return true;
}

}  // namespace salvor
