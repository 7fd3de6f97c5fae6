#pragma once

#include <array>
#include <bit>
#include <cstdint>
#include <optional>

#include "frame/bytes/Bytes.h"
#include "frame/bytes/SectorFilter.h"
#include "frame/memory/BudgetedTrail.h"

/// A box type: the value whose bytes in memory are the four characters in file order.
constexpr std::uint32_t BoxTypeOf(const char (&text)[5]) {
    return std::bit_cast<std::uint32_t>(std::array<char, 4>{text[0], text[1], text[2], text[3]});
}

/// No walk along boxes goes further, in bytes.
inline constexpr std::int64_t BoxWalkCeiling = 0x2000000000;

/// The first box of an ISO base media file, which tells its kind.
struct FileTypeBox {
    std::uint32_t size;
    /// Four characters.
    const std::uint8_t* majorBrand;
};

/// Passes sectors that begin with such a box.
inline constexpr SectorFilter FileTypeBoxFilter = SectorFilterOf(PatternOf("ftyp"), 4);

/// The box at the start of a sector, which must have 512 bytes or more.
std::optional<FileTypeBox> FileTypeBoxOf(ByteSpan sector);

/// The boxes of a format. Types are those of `BoxTypeOf`.
struct BoxRules {
    /// Does the walk step over this box? Any other type ends it.
    bool (*isAccepted)(std::uint32_t type);
    /// Is this a main box? Every file has one.
    bool (*isMain)(std::uint32_t type);
    /// Does a box that is smaller than its own header end the walk, as one of size 0 does?
    bool endsAtShortBox = false;
};

/// A movie, its media or a user's data.
bool IsMainBox(std::uint32_t type);

/// What a walk keeps of the boxes behind it.
struct BoxFacts {
    bool hasMainBox = false;
    /// A box leads out of the 64-bit range, or too few bytes could be read.
    bool isBroken = false;

    void Append(const BoxFacts& behind) {
        hasMainBox = hasMainBox || behind.hasMainBox;
        isBroken = isBroken || behind.isBroken;
    }
};

/// Walks the top-level boxes of the ISO base media family, or the atoms they come from, to the end of a file.
/// Source: ISO/IEC 14496-12, section 4.2.
class BoxWalk : public BudgetedTrail<BoxFacts> {
public:
    struct Result {
        /// The end of the last box, in bytes from the start of the file, even if that is beyond the limit.
        std::int64_t end;
        /// The size of the medium or the ceiling: boxes that begin there or beyond were not read.
        std::int64_t limit;
    };

    /// Walks the boxes after a file type box, whose size is not 0. A size of 0 ends the walk too, though it means a
    /// box up to the end of the file. Nothing if there is no main box, or if the budget was used up.
    std::optional<Result> Measure(const Candidate& candidate, std::uint32_t firstBoxSize, const BoxRules& rules);

private:
    class BoxReader;
};
