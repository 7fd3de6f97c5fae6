#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "frame/bytes/Bytes.h"

/// Index of the first of `count` sectors, `step` bytes apart, for which `stands(sector)` holds; `count` if there is
/// none.
template <class Stands>
std::size_t FirstSectorThat(const std::uint8_t* sectors, std::size_t step, std::size_t count, Stands stands) {
    std::size_t index = 0;
    // Eight at a time, since hardly any sector passes.
    for (; count - index >= 8; index += 8) {
        const std::uint8_t* const at = sectors + index * step;
        const std::uint8_t* const half = at + 4 * step;
        if (stands(at) || stands(at + step) || stands(at + 2 * step) || stands(at + 3 * step) || stands(half) ||
            stands(half + step) || stands(half + 2 * step) || stands(half + 3 * step)) {
            break;
        }
    }
    while (index < count && !stands(sectors + index * step)) {
        ++index;
    }
    return index;
}

/// The first test of every sector: up to four bytes that all headers of a type have at one place. It takes one load and
/// one compare, so a sector without a header costs next to nothing.
class SectorFilter {
public:
    /// `mask` has ones where a bit of `bytes` counts.
    constexpr SectorFilter(const Pattern<4>& bytes, const Pattern<4>& mask, std::size_t place)
        : place_(place),
          mask_(std::bit_cast<std::uint32_t>(mask)),
          value_(std::bit_cast<std::uint32_t>(bytes) & mask_) {}

    /// Bytes that a sector must have to be tested.
    constexpr std::size_t Reach() const { return place_ + sizeof(value_); }

    constexpr std::size_t Place() const { return place_; }
    /// In memory order, like the value.
    constexpr std::uint32_t Mask() const { return mask_; }
    constexpr std::uint32_t Value() const { return value_; }

    /// `sector` has `Reach` bytes.
    bool Matches(const std::uint8_t* sector) const { return (WordAt(sector + place_) & mask_) == value_; }

    /// Index of the first of `count` sectors, `step` bytes apart, that matches; `count` if there is none. All types
    /// share this one loop, so it stays in the instruction cache and its branches stay predicted.
    [[gnu::noinline]] std::size_t FirstIn(const std::uint8_t* sectors, std::size_t step, std::size_t count) const;

    /// The bits that this filter and another one at the same place agree on.
    constexpr SectorFilter Common(const SectorFilter& other) const {
        SectorFilter common(*this);
        common.mask_ &= other.mask_ & ~(value_ ^ other.value_);
        common.value_ &= common.mask_;
        return common;
    }

private:
    static std::uint32_t WordAt(const std::uint8_t* bytes) {
        std::uint32_t word = 0;
        std::memcpy(&word, bytes, sizeof(word));
        return word;
    }

    std::size_t place_;
    // In memory order.
    std::uint32_t mask_;
    std::uint32_t value_;
};

/// The first four bytes of a signature that begins at `place`, or all of a shorter one.
template <class Signature>
constexpr SectorFilter SectorFilterOf(const Signature& signature, std::size_t place = 0) {
    Pattern<4> bytes{};
    Pattern<4> mask{};
    for (std::size_t i = 0; i < std::min(bytes.size(), signature.size()); ++i) {
        bytes[i] = signature[i];
        mask[i] = 0xFF;
    }
    return {bytes, mask, place};
}

/// For types whose headers begin in several ways: one of the filters matches.
template <std::size_t N>
struct AnySectorFilter {
    std::array<SectorFilter, N> words;

    constexpr std::size_t Reach() const {
        std::size_t reach = 0;
        for (const SectorFilter& word : words) {
            reach = std::max(reach, word.Reach());
        }
        return reach;
    }
    bool Matches(const std::uint8_t* sector) const {
        return std::ranges::any_of(words, [sector](const SectorFilter& word) { return word.Matches(sector); });
    }
};
template <class... Words>
AnySectorFilter(Words...) -> AnySectorFilter<sizeof...(Words)>;
