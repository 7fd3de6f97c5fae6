#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>

/// Places examined at once: a few vector registers, and a small part of a sector.
inline constexpr std::size_t PlaceStride = 64;

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
            if (const std::optional<std::size_t> place = findAmong(tested, at + PlaceStride - tested)) {
                return place;
            }
        }
        tested = at + PlaceStride;
        if (at == lastStride) {
            return std::nullopt;
        }
    }
}
