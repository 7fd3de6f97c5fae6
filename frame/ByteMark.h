#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "frame/Bytes.h"

/// A byte pattern prepared for searching. It points to the pattern's bytes and does not own them.
///
/// A search asks of many places at once whether two bytes of the pattern, the anchor and its partner, stand where they
/// should, and compares the whole pattern only there. The two are those rarest in ordinary data and differ where they
/// can, so that padding, text, markup and tables of zeros are all passed over at full speed.
class ByteMark {
public:
    constexpr explicit ByteMark(ByteSpan bytes) : bytes_(bytes) {
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

    /// Offset of the first occurrence that lies wholly inside `haystack`, at `from` or behind it. An empty pattern
    /// occurs at `from` when that is inside or at the end of `haystack`.
    std::optional<std::size_t> FindIn(ByteSpan haystack, std::size_t from = 0) const;

    /// Offset just behind the first occurrence that ends before the sector's last byte; the run scanners do not see a
    /// mark that ends exactly at the end of a sector.
    std::optional<std::size_t> FindEndInSector(ByteSpan sector) const;

private:
    // A rough rank of how often a byte value occurs in disk data.
    static constexpr int Commonness(std::uint8_t value) {
        if (value == 0x00) {
            return 5;
        }
        if (value == 0xFF || value == 0x20) {
            return 4;
        }
        if ((value >= 'a' && value <= 'z') || (value >= '0' && value <= '9') || value < 0x10 || value == '<' ||
            value == '>' || value == '/') {
            return 3;
        }
        return value < 0x80 ? 2 : 1;
    }

    ByteSpan bytes_;
    // Offsets in the pattern.
    std::size_t anchor_ = 0;
    std::size_t partner_ = 0;
};

/// A text that is a template's argument.
template <std::size_t N>
struct MarkText {
    // NOLINTNEXTLINE(google-explicit-constructor): the literal stands for it.
    consteval MarkText(const char (&literal)[N]) : bytes(PatternOf(literal)) {}

    Pattern<N - 1> bytes;
};

/// A mark made from text, as `PatternOf` makes a pattern.
template <MarkText Text>
consteval ByteMark MarkOf() {
    return ByteMark(Text.bytes);
}
