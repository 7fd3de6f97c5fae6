#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "host/scan/merge.h"
#include "host/scan/scan_session.h"

namespace salvor {

/// Blocks that some types have still to scan.
struct OpenPart {
    BlockRange blocks;
    std::vector<std::int32_t> types;
    bool withStarts = false;
    bool operator==(const OpenPart&) const = default;
};

/// Blocks in a segment: a 64th of the range, but at most 1 GiB and at least 256 MiB. Smaller media have four segments,
/// or fewer of 64 MiB; below 64 MiB there is one.
std::int64_t SegmentBlocks(const ScanGrid& grid, std::int32_t sectorSize);

/// One of `count` pieces of a scan that are as large as each other; `number` counts from 1. A scan of few blocks has
/// pieces without any.
BlockRange PieceOf(const ScanGrid& grid, std::int64_t number, std::int64_t count);

/// What of these blocks is in no segment and not set aside, by first block; in pieces that end at multiples of
/// `segmentBlocks`.
std::vector<OpenPart> OpenParts(const ScanGrid& grid, BlockRange blocks, std::span<const SegmentScan> segments,
                                std::int64_t segmentBlocks);

/// A segment of blocks that are known to be zeros: nothing is found there.
SegmentScan SegmentOfZeros(const ScanGrid& grid, BlockRange blocks);

/// A part of a scan, and its only type.
struct MissingPart {
    std::int32_t type = 0;
    ScanPart part;
};

/// How segments are joined.
struct JoinPlan {
    /// For each segment and each of its scans the blocks whose finds hold.
    std::vector<std::vector<std::vector<BlockRange>>> kept;
    /// While there are any, what is kept does not count.
    std::vector<MissingPart> missing;
};

/// Puts segments together as `PlanMerge` does. A scan ends in front of what is set aside for its type, and another
/// begins behind, as if the medium ended and began there.
JoinPlan PlanJoin(const ScanGrid& grid, std::span<const SegmentScan> segments);

/// Joins segments one by one, so that only what overlaps is in memory. The grid outlives it.
class SegmentJoiner {
public:
    explicit SegmentJoiner(const ScanGrid& grid) : grid_(grid), finds_(grid) {}

    /// Segments come by first block, with all that they have seen. Gives what none that comes later can add to, in
    /// order, each start and text once.
    Sightings Add(const SegmentScan& segment, std::span<const std::vector<BlockRange>> kept);
    /// The rest, after the last segment.
    Sightings Finish();

private:
    const ScanGrid& grid_;
    FindMerger finds_;
    // All starts, texts and zeros before these sectors have been given.
    std::int64_t nextStart_ = 0;
    std::int64_t nextText_ = 0;
    std::int64_t nextZeros_ = 0;
};

/// The first block from `block` on that is set aside for one of the types; the scan's end if none is.
std::int64_t NextSetAside(const ScanGrid& grid, std::span<const SegmentScan> segments,
                          std::span<const std::int32_t> types, std::int64_t block);

}  // namespace salvor
