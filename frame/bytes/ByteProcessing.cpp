#include "frame/bytes/ByteProcessing.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "frame/bytes/Bytes.h"

std::uint64_t ByteProcessing::ReadOrdered(const void* bytes, std::uint32_t n, std::int32_t order) {
    std::array<std::uint8_t, sizeof(std::uint64_t)> value{};
    if (bytes == nullptr || n > value.size()) {
        return 0;
    }
    std::memcpy(value.data(), bytes, n);
    if (order == 1) {
        ReverseBytes(value.data(), n);
    }
    return LoadLittle<std::uint64_t>(value, 0);
}

void ByteProcessing::ReverseBytes(void* bytes, std::size_t n) {
    auto* first = static_cast<std::uint8_t*>(bytes);
    std::reverse(first, first + n);
}
