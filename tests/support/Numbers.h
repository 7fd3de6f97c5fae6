#pragma once

#include <concepts>
#include <cstdint>

#include "tests/support/Medium.h"

namespace test {

/// The lowest `width` bytes of a number, least significant byte first.
Bytes Little(std::uint64_t value, std::size_t width);
/// The same, most significant byte first.
Bytes Big(std::uint64_t value, std::size_t width);

template <std::unsigned_integral T>
Bytes Little(T value) {
    return Little(value, sizeof(T));
}
template <std::unsigned_integral T>
Bytes Big(T value) {
    return Big(value, sizeof(T));
}

/// Overwrites bytes of a file, which grows if need be.
void Patch(Bytes& file, std::size_t offset, const Bytes& bytes);
Bytes Patched(Bytes file, std::size_t offset, const Bytes& bytes);
inline void PutNumber(Bytes& file, std::size_t offset, std::uint64_t value, std::size_t width, bool isBig = false) {
    Patch(file, offset, isBig ? Big(value, width) : Little(value, width));
}

}  // namespace test
