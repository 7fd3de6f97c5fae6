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

/// Blocks of a scan, counted from its first one; or borders between blocks, where border n is before block n. `end` is
/// exclusive.
struct BlockRange {
    std::int64_t first = 0;
    std::int64_t end = 0;
    bool operator==(const BlockRange&) const = default;
};

/// A find, and the part of a block that was being scanned when it was reported.
struct PlacedFind {
    Find find;
    /// The part's first sector. Most types get a block in slices, the others whole; see `ScanInSlices`.
    std::int64_t part = 0;
    bool operator==(const PlacedFind&) const = default;
};

/// The answers of a new scanner of one type over consecutive blocks.
struct TypeScan {
    std::int32_t type = 0;
    BlockRange blocks;
    /// The borders up to the end of the last block at which it was not at rest, ascending. Before its first block every
    /// scanner is at rest.
    std::vector<BlockRange> restless{};
    /// The blocks during which its count of guesses grew, ascending.
    std::vector<std::int64_t> guessed{};
    /// In the order of the reports; empty if they are only in a journal.
    std::vector<PlacedFind> finds{};
    bool operator==(const TypeScan&) const = default;
};

/// How a scan is divided into blocks, and the order in which the types look at a block.
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

/// A scan that is still needed. A new scanner of the type begins with block `from` and goes on at least to border `to`,
/// until the first of `borders` at which it is at rest; without such a border, to the scan's end.
struct MissingScan {
    std::int32_t type = 0;
    std::int64_t from = 0;
    std::int64_t to = 0;
    std::vector<BlockRange> borders;
    bool operator==(const MissingScan&) const = default;
};

/// Which finds of which scans a single scan over the whole range would give.
struct MergePlan {
    /// For each scan, the blocks whose finds count.
    std::vector<std::vector<BlockRange>> kept;
    /// If there are any, `kept` is meaningless.
    std::vector<MissingScan> missing;
};

/// Joins the scans of segments as if one scanner of each type had gone over the whole range, without looking at the
/// finds. Where two scans of a type were both at rest, the later one takes over. Scans may overlap and come in any
/// order, even several for the same blocks. If some are missing, call again once those have been added. Scans of other
/// types or outside the grid are ignored.
MergePlan PlanMerge(const ScanGrid& grid, std::span<const TypeScan> scans);

/// Sorts the finds of scans into the order in which a single scan would report them.
class FindMerger {
public:
    explicit FindMerger(const ScanGrid& grid);

    /// Adds the scan's finds in the blocks that are kept.
    void Add(const TypeScan& scan, std::span<const BlockRange> kept);
    /// Takes all finds before this block, if no later scan reaches before it.
    std::vector<Find> TakeBefore(std::int64_t block);

private:
    // Slice by slice; types that get whole blocks come after all slices.
    using Place = std::tuple<std::int64_t, bool, std::int64_t, std::size_t>;

    const ScanGrid& grid_;
    std::map<std::int32_t, std::size_t> ranks_;
    std::vector<std::pair<Place, Find>> waiting_;
};

}  // namespace salvor
