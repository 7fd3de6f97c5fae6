#include "host/platform/pipe.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <memory>
#include <vector>

namespace salvor {

Pipe Pipe::Make() {
    std::array<int, 2> ends{-1, -1};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
        return {FileDescriptor(), FileDescriptor()};
    }
    fcntl(ends[0], F_SETFL, O_NONBLOCK);
    return {FileDescriptor(ends[0]), FileDescriptor(ends[1])};
}

bool ReadArrived(int descriptor, std::string& bytes) {
    // Filling the buffer first would take longer than most reads.
    constexpr std::size_t most = std::size_t{1} << 16U;
    const auto buffer = std::make_unique_for_overwrite<char[]>(most);
    const ssize_t got = read(descriptor, buffer.get(), most);
    if (got < 0) {
        return errno == EINTR || errno == EAGAIN;
    }
    bytes.append(buffer.get(), static_cast<std::size_t>(got));
    return got > 0;
}

void WaitForAny(std::span<const int> descriptors, std::chrono::milliseconds atMost) {
    std::vector<pollfd> waited;
    for (const int descriptor : descriptors) {
        waited.push_back({descriptor, POLLIN, 0});
    }
    poll(waited.data(), waited.size(), static_cast<int>(atMost.count()));
}

}  // namespace salvor
