#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "host/scan/merge.h"
#include "host/scan/scan_session.h"

namespace salvor {

/// Blocks that some types still have to scan.
struct OpenPart {
    BlockRange blocks;
    std::vector<std::int32_t> types;
    bool withStarts = false;
    bool operator==(const OpenPart&) const = default;
};

/// The number of blocks in a segment: a 64th of the range, but at most 1 GiB and at least 512 MiB. Smaller media have
/// four segments, or fewer of 64 MiB; below 64 MiB there is one.
std::int64_t SegmentBlocks(const ScanGrid& grid, std::int32_t sectorSize);

/// One of `count` equally large pieces of a scan; `number` counts from 1. If a scan has few blocks, some pieces are
/// empty.
BlockRange PieceOf(const ScanGrid& grid, std::int64_t number, std::int64_t count);

/// The parts of these blocks that are in no segment and not set aside, ordered by first block, divided at multiples of
/// `segmentBlocks`.
std::vector<OpenPart> OpenParts(const ScanGrid& grid, BlockRange blocks, std::span<const SegmentScan> segments,
                                std::int64_t segmentBlocks);

/// A segment of blocks that are known to be zeros, without finds.
SegmentScan SegmentOfZeros(const ScanGrid& grid, BlockRange blocks);

/// A part of a scan, and its only type.
struct MissingPart {
    std::int32_t type = 0;
    ScanPart part;
};

/// How segments are joined.
struct JoinPlan {
    /// For each segment and each of its scans, the blocks whose finds count.
    std::vector<std::vector<std::vector<BlockRange>>> kept;
    /// If there are any, `kept` is meaningless.
    std::vector<MissingPart> missing;
};

/// Joins segments as `PlanMerge` does. A scan ends before blocks that are set aside for its type, and another begins
/// after them, as if the medium ended and began there.
JoinPlan PlanJoin(const ScanGrid& grid, std::span<const SegmentScan> segments);

/// Joins segments one by one, so that only overlapping parts are in memory. The grid outlives it.
class SegmentJoiner {
public:
    explicit SegmentJoiner(const ScanGrid& grid) : grid_(grid), finds_(grid) {}

    /// Segments are added in the order of their first blocks, with everything that they have seen. Gives, in order,
    /// what no later segment can add to; each start and text once.
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

/// The first block from `block` on that is set aside for one of the types; the scan's end if there is none.
std::int64_t NextSetAside(const ScanGrid& grid, std::span<const SegmentScan> segments,
                          std::span<const std::int32_t> types, std::int64_t block);

}  // namespace salvor
