#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace salvor {

enum class ByteOrder { Little, Big };

/// The unsigned number of `width` bytes, up to 4, at `offset`, which lies with all of it within `bytes`.
inline std::uint32_t LoadNumber(std::span<const std::uint8_t> bytes, std::size_t offset, std::size_t width,
                                ByteOrder order) {
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < width; ++i) {
        value = value << 8U | bytes[offset + (order == ByteOrder::Big ? i : width - 1 - i)];
    }
    return value;
}

inline std::uint16_t Load16(std::span<const std::uint8_t> bytes, std::size_t offset, ByteOrder order) {
    return static_cast<std::uint16_t>(LoadNumber(bytes, offset, 2, order));
}

inline std::uint32_t Load32(std::span<const std::uint8_t> bytes, std::size_t offset, ByteOrder order) {
    return LoadNumber(bytes, offset, 4, order);
}

}  // namespace salvor
