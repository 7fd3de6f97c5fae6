#pragma once

#include <algorithm>
#include <cstdint>
#include <map>
#include <span>
#include <tuple>
#include <utility>
#include <vector>

#include "host/medium/sector_ranges.h"
#include "host/scan/find.h"

namespace salvor {

/// Blocks of a scan, counted from its first one; or borders between blocks, where border n is the one before
/// block n. The end is left out.
struct BlockRange {
    std::int64_t first = 0;
    std::int64_t end = 0;
    bool operator==(const BlockRange&) const = default;
};

/// A find, and the part of a block that was being scanned when it was reported.
struct PlacedFind {
    Find find;
    /// The part's first sector. Most types are handed a block in slices, the others whole; see `ScanInSlices`.
    std::int64_t part = 0;
    bool operator==(const PlacedFind&) const = default;
};

/// What a new scanner of one type said of consecutive blocks.
struct TypeScan {
    std::int32_t type = 0;
    BlockRange blocks;
    /// The borders up to the last block's end at which it was not at rest, ascending. Before the first block every
    /// scanner is.
    std::vector<BlockRange> restless{};
    /// The blocks over which its count of guesses grew, ascending.
    std::vector<std::int64_t> guessed{};
    /// In the order of the reports; empty while they are only in a journal.
    std::vector<PlacedFind> finds{};
    bool operator==(const TypeScan&) const = default;
};

/// How a scan is cut, and in which order the types look at a block.
struct ScanGrid {
    SectorRange range;
    std::int64_t blockSectors = 1;
    std::vector<std::int32_t> types;

    std::int64_t BlockCount() const { return (range.count + blockSectors - 1) / blockSectors; }
    SectorRange SectorsOf(BlockRange blocks) const {
        const std::int64_t first = std::min(blocks.first * blockSectors, range.count);
        return {range.first + first, std::min(blocks.end * blockSectors, range.count) - first};
    }
    std::int64_t BlockOf(std::int64_t sector) const { return (sector - range.first) / blockSectors; }
};

/// A scan that is still needed: a new scanner of the type begins with block `from` and goes on to border `to` or
/// behind, up to the first of `borders` at which it is at rest; to the scan's end if there is none.
struct MissingScan {
    std::int32_t type = 0;
    std::int64_t from = 0;
    std::int64_t to = 0;
    std::vector<BlockRange> borders;
    bool operator==(const MissingScan&) const = default;
};

/// Which finds of which scans are those of one scan over the whole range.
struct MergePlan {
    /// For each scan the blocks whose finds hold.
    std::vector<std::vector<BlockRange>> kept;
    /// While there are any, what is kept does not count.
    std::vector<MissingScan> missing;
};

/// Joins the scans of segments as if one scanner of each type had gone over the whole range, without looking at the
/// finds. Where two scans of a type were both at rest, the later one holds from there on. Scans may overlap and come in
/// any order, also several for the same blocks; when some are missing, call again with those added. Scans of other
/// types or outside the grid are ignored.
MergePlan PlanMerge(const ScanGrid& grid, std::span<const TypeScan> scans);

/// Sorts the finds of scans into the order in which a single scan reports them.
class FindMerger {
public:
    explicit FindMerger(const ScanGrid& grid);

    /// The scan's finds in blocks that are kept.
    void Add(const TypeScan& scan, std::span<const BlockRange> kept);
    /// All finds before this block, which no scan added later reaches.
    std::vector<Find> TakeBefore(std::int64_t block);

private:
    // Slice by slice, the types that are handed whole blocks after all slices.
    using Place = std::tuple<std::int64_t, bool, std::int64_t, std::size_t>;

    const ScanGrid& grid_;
    std::map<std::int32_t, std::size_t> ranks_;
    std::vector<std::pair<Place, Find>> waiting_;
};

}  // namespace salvor
