#include "frame/bytes/CompareBytesNoCase.h"

namespace {

std::uint8_t FoldAsciiLetter(std::uint8_t byte) {
    return byte >= 'a' && byte <= 'z' ? static_cast<std::uint8_t>(byte - 0x20) : byte;
}

}  // namespace

std::int32_t CompareBytesNoCase(const void* a, const void* b, std::size_t n) {
    const auto* left = static_cast<const std::uint8_t*>(a);
    const auto* right = static_cast<const std::uint8_t*>(b);
    for (std::size_t i = 0; i < n; ++i) {
        const std::uint8_t x = FoldAsciiLetter(left[i]);
        const std::uint8_t y = FoldAsciiLetter(right[i]);
        if (x != y) {
            return static_cast<std::int32_t>(static_cast<std::int8_t>(x)) - static_cast<std::int8_t>(y);
        }
    }
    return 0;
}
