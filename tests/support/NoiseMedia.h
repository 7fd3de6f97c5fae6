#pragma once

#include <algorithm>
#include <ostream>
#include <span>
#include <string_view>

#include "tests/support/Medium.h"

namespace test {

/// A medium without files. `name` is the kind's name.
struct NoiseKind {
    const char* name;
    /// Shapes a byte from two random ones.
    std::uint8_t (*shape)(std::uint8_t a, std::uint8_t b);
    /// Whether each sector begins with the first two bytes of a file of some type.
    bool withStarts;
    /// Whether a text file does not count as a bogus find.
    bool isText;
};
inline std::ostream& operator<<(std::ostream& out, const NoiseKind& kind) { return out << kind.name; }

inline std::uint8_t NoiseLetter(std::uint8_t random) {
    constexpr std::string_view letters = "etaoinshrdlucmfwypvbgk EEE  TAOI\n\r\n\t,.;:-<>/=\"'()0123456789";
    return static_cast<std::uint8_t>(letters[random % letters.size()]);
}

inline constexpr NoiseKind NoiseKinds[] = {
    {"random", [](std::uint8_t a, std::uint8_t) { return a; }, false, false},
    // Three bits of four are ones, as in the sync words of media streams.
    {"biased", [](std::uint8_t a, std::uint8_t b) { return static_cast<std::uint8_t>(a | b); }, true, false},
    {"text", [](std::uint8_t a, std::uint8_t) { return NoiseLetter(a); }, false, true},
    // One byte in eight is not zero, as in tables and padded records.
    {"zeroLaden", [](std::uint8_t a, std::uint8_t b) { return a % 8 == 0 ? b : std::uint8_t{0}; }, false, false},
    {"zeros", [](std::uint8_t, std::uint8_t) { return std::uint8_t{0}; }, false, false}};

/// Bytes of a kind; `files` are those whose first bytes stand at sectors where the kind wants that.
inline Bytes MakeNoise(const NoiseKind& kind, std::size_t count, std::span<const Bytes> files) {
    Noise noise(2024);
    Bytes bytes = noise.Random(count);
    std::ranges::transform(bytes, noise.Random(count), bytes.begin(), kind.shape);
    for (std::size_t at = 0; kind.withStarts && at < count; at += 512) {
        std::ranges::copy(std::span(files[noise.Below(files.size())]).first(2), bytes.data() + at);
    }
    return bytes;
}

}  // namespace test
