#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <optional>

#include "frame/bytes/Bytes.h"

/// The number of the last clear bit in a bitmap, counting from the low bit of the first byte; nothing if all are set.
inline std::optional<std::size_t> LastClearBit(ByteSpan bitmap) {
    const auto last = std::find_if(bitmap.rbegin(), bitmap.rend(), [](std::uint8_t byte) { return byte != 0xFF; });
    if (last == bitmap.rend()) {
        return std::nullopt;
    }
    const auto clear = static_cast<std::uint8_t>(~*last);
    return static_cast<std::size_t>(bitmap.rend() - last) * 8 - 1 - static_cast<std::size_t>(std::countl_zero(clear));
}
