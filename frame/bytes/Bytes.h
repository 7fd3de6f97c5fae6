#pragma once

#include <array>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

/// A borrowed range of the medium's bytes: a sector, or a piece of one.
using ByteSpan = std::span<const std::uint8_t>;

/// A fixed byte pattern, such as a signature.
template <std::size_t N>
using Pattern = std::array<std::uint8_t, N>;

/// Makes a pattern from text, without the terminating zero; "\x89PNG" style escapes give any byte.
template <std::size_t N>
constexpr Pattern<N - 1> PatternOf(const char (&text)[N]) {
    Pattern<N - 1> pattern{};
    for (std::size_t i = 0; i + 1 < N; ++i) {
        pattern[i] = static_cast<std::uint8_t>(text[i]);
    }
    return pattern;
}

/// The unsigned number of T's width at `offset`, least significant byte first. `offset + sizeof(T)` lies within
/// `bytes`.
template <std::unsigned_integral T>
constexpr T LoadLittle(ByteSpan bytes, std::size_t offset) {
    T value = 0;
    for (std::size_t i = sizeof(T); i-- > 0;) {
        value = static_cast<T>(static_cast<T>(value << 8U) | bytes[offset + i]);
    }
    return value;
}

/// The same, most significant byte first.
template <std::unsigned_integral T>
constexpr T LoadBig(ByteSpan bytes, std::size_t offset) {
    T value = 0;
    for (std::size_t i = 0; i < sizeof(T); ++i) {
        value = static_cast<T>(static_cast<T>(value << 8U) | bytes[offset + i]);
    }
    return value;
}

/// True if the whole pattern stands at `offset`; a pattern that would run past `bytes` does not match.
template <std::size_t N>
bool HasPatternAt(ByteSpan bytes, std::size_t offset, const Pattern<N>& pattern) {
    return bytes.size() >= offset + N && std::memcmp(bytes.data() + offset, pattern.data(), N) == 0;
}

template <std::size_t N>
bool StartsWith(ByteSpan bytes, const Pattern<N>& pattern) {
    return HasPatternAt(bytes, 0, pattern);
}
