#include "tests/support/Numbers.h"

#include <algorithm>

namespace test {

Bytes Little(std::uint64_t value, std::size_t width) {
    Bytes bytes;
    for (; bytes.size() < width; value >>= 8U) {
        bytes.push_back(static_cast<std::uint8_t>(value));
    }
    return bytes;
}

Bytes Big(std::uint64_t value, std::size_t width) {
    Bytes bytes = Little(value, width);
    std::ranges::reverse(bytes);
    return bytes;
}

void Patch(Bytes& file, std::size_t offset, const Bytes& bytes) {
    file.resize(std::max(file.size(), offset + bytes.size()));
    std::ranges::copy(bytes, file.begin() + static_cast<std::ptrdiff_t>(offset));
}

Bytes Patched(Bytes file, std::size_t offset, const Bytes& bytes) {
    Patch(file, offset, bytes);
    return file;
}

}  // namespace test
