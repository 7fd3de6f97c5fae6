#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string_view>

#include "frame/bytes/Bytes.h"
#include "frame/bytes/PlaceSearch.h"

/// A rough rank of how often each byte value occurs in disk data.
inline constexpr std::array<std::uint8_t, 256> ByteCommonness = [] {
    std::array<std::uint8_t, 256> ranks{};
    for (std::size_t value = 0; value < ranks.size(); ++value) {
        const bool isCommon = value < 0x10 || (value >= '0' && value <= '9') || (value >= 'a' && value <= 'z');
        ranks[value] = isCommon ? 3 : value < 0x80 ? 2 : 1;
    }
    const auto set = [&ranks](std::string_view bytes, std::uint8_t rank) {
        for (const char byte : bytes) {
            ranks[static_cast<std::uint8_t>(byte)] = rank;
        }
    };
    set("bfgjkmpqvwxyz", 2);
    set("<>/", 3);
    set(" \xFF", 4);
    ranks[0] = 5;
    return ranks;
}();

/// A byte pattern prepared for searching. It points to the pattern's bytes and does not own them.
///
/// A search tests many places at once for two bytes of the pattern, the anchor and its partner, and compares the whole
/// pattern only where both match. They are the two bytes rarest in ordinary data, and different ones if possible, so
/// padding, text, markup and tables of zeros are all passed over at full speed.
class BytePattern {
public:
    constexpr explicit BytePattern(ByteSpan bytes) : bytes_(bytes) {
        for (std::size_t i = 1; i < bytes_.size(); ++i) {
            if (Commonness(bytes_[i]) < Commonness(bytes_[anchor_])) {
                anchor_ = i;
            }
        }
        partner_ = anchor_;
        for (std::size_t i = 0; i < bytes_.size(); ++i) {
            const bool differs = bytes_[i] != bytes_[anchor_];
            if (differs && (partner_ == anchor_ || Commonness(bytes_[i]) < Commonness(bytes_[partner_]))) {
                partner_ = i;
            }
        }
    }

    constexpr std::size_t size() const { return bytes_.size(); }

    /// Offset of the first occurrence that lies wholly inside `haystack` and begins at or after `from`. An empty
    /// pattern occurs at `from` when that is inside or at the end of `haystack`.
    std::optional<std::size_t> FindIn(ByteSpan haystack, std::size_t from = 0) const;

    /// Calls `visit(offset)` for every occurrence that lies wholly inside `haystack` and begins at or after `from`, in
    /// order. Faster than finding one after another where they are close to each other.
    template <class Visit>
    void ForEachIn(ByteSpan haystack, std::size_t from, Visit visit) const {
        FindThat(haystack, from, [&](std::size_t offset) {
            visit(offset);
            return false;  // keep searching
        });
    }

    /// Offset just after the first occurrence that ends before the sector's last byte. The run scanners do not see a
    /// footer that ends exactly at the end of a sector.
    std::optional<std::size_t> FindEndInSector(ByteSpan sector) const;

private:
    // The first occurrence for which `isWanted(offset)` holds.
    template <class IsWanted>
    std::optional<std::size_t> FindThat(ByteSpan haystack, std::size_t from, IsWanted isWanted) const {
        if (bytes_.empty() || from > haystack.size() || haystack.size() - from < bytes_.size()) {
            return std::nullopt;
        }
        const std::size_t anchorAt = anchor_;
        const std::size_t partnerAt = partner_;
        const std::uint8_t anchor = bytes_[anchorAt];
        const std::uint8_t partner = bytes_[partnerAt];
        return FindPlace(
            haystack.data(), from, haystack.size() - bytes_.size() + 1,
            [=](const std::uint8_t* place) {
                return static_cast<std::uint8_t>((place[anchorAt] ^ anchor) | (place[partnerAt] ^ partner));
            },
            [&](std::size_t start) {
                return std::memcmp(haystack.data() + start, bytes_.data(), bytes_.size()) == 0 && isWanted(start);
            });
    }

    static constexpr int Commonness(std::uint8_t value) { return ByteCommonness[value]; }

    ByteSpan bytes_;
    // Offsets in the pattern.
    std::size_t anchor_ = 0;
    std::size_t partner_ = 0;
};

/// Text as a template argument.
template <std::size_t N>
struct PatternText {
    // NOLINTNEXTLINE(google-explicit-constructor): the literal stands for it.
    consteval PatternText(const char (&literal)[N]) : bytes(PatternOf(literal)) {}

    Pattern<N - 1> bytes;
};

/// A pattern for searching, made from text as by `PatternOf`.
template <PatternText Text>
consteval BytePattern BytePatternOf() {
    return BytePattern(Text.bytes);
}
