#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "frame/bytes/Bytes.h"

/// Places examined at once: a few vector registers, and a small part of a sector.
inline constexpr std::size_t PlaceStride = 64;

/// The first match in the stride that begins at `at`, from `from` on; for `FindPlace`.
template <class Difference, class IsMatch>
std::optional<std::size_t> FindInStride(const std::uint8_t* places, std::size_t at, std::size_t from,
                                        const Difference& difference, const IsMatch& isMatch) {
    std::array<std::uint8_t, PlaceStride> differences;
    for (std::size_t i = 0; i < PlaceStride; ++i) {
        differences[i] = difference(places + i);
    }
    for (std::size_t i = (from - at) / sizeof(std::uint64_t) * sizeof(std::uint64_t); i < PlaceStride;
         i += sizeof(std::uint64_t)) {
        constexpr std::uint64_t low = 0x7F7F7F7F7F7F7F7F;
        const auto eight = LoadLittle<std::uint64_t>(differences, i);
        // The highest bit of each byte that is 0.
        for (std::uint64_t zeros = ~(((eight & low) + low) | eight | low); zeros != 0; zeros &= zeros - 1) {
            const std::size_t place = at + i + static_cast<std::size_t>(std::countr_zero(zeros)) / 8;
            if (place >= from && isMatch(place)) {
                return place;
            }
        }
    }
    return std::nullopt;
}

/// Offset of the first place from `from` on and before `end` where `isMatch(offset)` holds.
///
/// `difference(place)` is the filter: it takes a pointer to the place's bytes and gives 0 wherever a match may be, and
/// rarely elsewhere. It must be free of branches, so that compilers vectorise the test of a stride, and must read only
/// bytes that exist behind every place before `end`. `isMatch` is then called for the places that passed, in order.
template <class Difference, class IsMatch>
std::optional<std::size_t> FindPlace(const std::uint8_t* bytes, std::size_t from, std::size_t end,
                                     Difference difference, IsMatch isMatch) {
    const auto findAmong = [&](std::size_t first, std::size_t count) -> std::optional<std::size_t> {
        for (std::size_t place = first; place < first + count; ++place) {
            if (difference(bytes + place) == 0 && isMatch(place)) {
                return place;
            }
        }
        return std::nullopt;
    };
    if (from >= end) {
        return std::nullopt;
    }
    if (end - from < PlaceStride) {
        return findAmong(from, end - from);
    }
    std::size_t tested = from;
    // The last stride overlaps the one before it instead of being shorter.
    const std::size_t lastStride = end - PlaceStride;
    for (std::size_t at = from;; at = std::min(at + PlaceStride, lastStride)) {
        const std::uint8_t* const places = bytes + at;
        std::uint8_t smallest = 0xFF;
        for (std::size_t i = 0; i < PlaceStride; ++i) {
            smallest = std::min(smallest, difference(places + i));
        }
        if (smallest == 0) {
            if (const std::optional<std::size_t> place = FindInStride(places, at, tested, difference, isMatch)) {
                return place;
            }
        }
        tested = at + PlaceStride;
        if (at == lastStride) {
            return std::nullopt;
        }
    }
}
