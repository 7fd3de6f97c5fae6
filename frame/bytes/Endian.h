#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>

#include "frame/bytes/Bytes.h"

/// The order of a number's bytes, for formats that are written in both.
enum class Endian : std::uint8_t { Little, Big };

/// The unsigned number of T's width at `offset`; `offset + sizeof(T)` lies within `bytes`.
template <std::unsigned_integral T>
constexpr T LoadAs(ByteSpan bytes, std::size_t offset, Endian endian) {
    return endian == Endian::Big ? LoadBig<T>(bytes, offset) : LoadLittle<T>(bytes, offset);
}
