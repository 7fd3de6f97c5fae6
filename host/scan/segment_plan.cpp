#include "host/scan/segment_plan.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <utility>

namespace salvor {

namespace {

// The parts of `blocks` that are in none of the ranges.
std::vector<BlockRange> Uncovered(BlockRange blocks, std::vector<BlockRange> ranges) {
    std::ranges::sort(ranges, {}, &BlockRange::first);
    std::vector<BlockRange> open;
    std::int64_t at = blocks.first;
    for (const BlockRange& range : ranges) {
        if (range.first > at) {
            open.push_back({at, std::min(range.first, blocks.end)});
        }
        at = std::max(at, range.end);
        if (at >= blocks.end) {
            return open;
        }
    }
    if (at < blocks.end) {
        open.push_back({at, blocks.end});
    }
    return open;
}

// A scanner that fails in some blocks need not be at rest before them; after them a new one begins.
void CutAtSetAside(TypeScan& scan, BlockRange blocks) {
    if (scan.blocks.end == blocks.first && !scan.restless.empty() && scan.restless.back().end > blocks.first) {
        scan.restless.back().end = blocks.first;
        if (scan.restless.back().first == blocks.first) {
            scan.restless.pop_back();
        }
    }
    if (scan.blocks.first == blocks.end) {
        scan.guessed.clear();
    }
}

MissingPart PartBetween(const ScanGrid& grid, const MissingScan& missing, std::span<const BlocksSetAside> setAside) {
    ScanPart part = PartFor(grid, missing);
    for (const BlocksSetAside& aside : setAside) {
        if (aside.type != missing.type) {
            continue;
        }
        if (aside.blocks.first >= part.to) {
            part.last = std::min(part.last, aside.blocks.first);
        } else {
            part.from = std::max(part.from, aside.blocks.end);
        }
    }
    return {missing.type, std::move(part)};
}

// Calls `take` for the parts of ascending ranges from sector `next` on, and moves `next` past them.
template <class Take>
void ForEachBehind(const std::vector<SectorRange>& ranges, std::int64_t& next, Take&& take) {
    for (const SectorRange& range : ranges) {
        const std::int64_t end = range.first + range.count;
        if (end > next) {
            const std::int64_t first = std::max(range.first, next);
            take(SectorRange{first, end - first});
            next = end;
        }
    }
}

}  // namespace

std::int64_t SegmentBlocks(const ScanGrid& grid, std::int32_t sectorSize) {
    constexpr std::int64_t mebibyte = std::int64_t{1} << 20;
    const std::int64_t bytes = grid.range.count * sectorSize;
    const std::int64_t least = std::clamp(bytes / 4, 64 * mebibyte, 512 * mebibyte);
    const std::int64_t wanted = std::clamp(bytes / 64, least, 1024 * mebibyte);
    const std::int64_t block = grid.blockSectors * sectorSize;
    return (wanted + block - 1) / block;
}

BlockRange PieceOf(const ScanGrid& grid, std::int64_t number, std::int64_t count) {
    const std::int64_t blocks = grid.BlockCount();
    const auto borderBefore = [&](std::int64_t piece) {
        // Avoids a product that could leave the 64-bit range.
        return blocks / count * piece + blocks % count * piece / count;
    };
    return {borderBefore(number - 1), borderBefore(number)};
}

std::vector<OpenPart> OpenParts(const ScanGrid& grid, BlockRange blocks, std::span<const SegmentScan> segments,
                                std::int64_t segmentBlocks) {
    std::map<std::int32_t, std::vector<BlockRange>> covered{{StartsType, {}}};
    for (const std::int32_t type : grid.types) {
        covered[type];
    }
    for (const SegmentScan& segment : segments) {
        for (const TypeScan& scan : segment.scans) {
            covered[scan.type].push_back(segment.blocks);
        }
        if (segment.withStarts) {
            covered[StartsType].push_back(segment.blocks);
        }
        for (const BlocksSetAside& aside : segment.setAside) {
            covered[aside.type].push_back(aside.blocks);
        }
    }
    std::map<std::pair<std::int64_t, std::int64_t>, OpenPart> open;
    for (auto& [type, ranges] : covered) {
        for (BlockRange range : Uncovered(blocks, std::move(ranges))) {
            while (range.first < range.end) {
                const std::int64_t end = std::min((range.first / segmentBlocks + 1) * segmentBlocks, range.end);
                OpenPart& part = open[{range.first, end}];
                part.blocks = {range.first, end};
                part.withStarts = part.withStarts || type == StartsType;
                if (type != StartsType) {
                    part.types.push_back(type);
                }
                range.first = end;
            }
        }
    }
    std::vector<OpenPart> parts;
    parts.reserve(open.size());
    for (auto& [range, part] : open) {
        parts.push_back(std::move(part));
    }
    return parts;
}

SegmentScan SegmentOfZeros(const ScanGrid& grid, BlockRange blocks) {
    SegmentScan segment{blocks, true, {}, {}};
    for (const std::int32_t type : grid.types) {
        segment.scans.push_back({.type = type, .blocks = blocks});
    }
    return segment;
}

JoinPlan PlanJoin(const ScanGrid& grid, std::span<const SegmentScan> segments) {
    std::vector<TypeScan> scans;
    std::vector<BlocksSetAside> setAside;
    for (const SegmentScan& segment : segments) {
        std::ranges::copy(segment.scans, std::back_inserter(scans));
        std::ranges::copy(segment.setAside, std::back_inserter(setAside));
    }
    for (const BlocksSetAside& aside : setAside) {
        for (TypeScan& scan : scans) {
            if (scan.type == aside.type) {
                CutAtSetAside(scan, aside.blocks);
            }
        }
        scans.push_back({.type = aside.type, .blocks = aside.blocks});
    }
    MergePlan merged = PlanMerge(grid, scans);
    JoinPlan plan;
    for (const MissingScan& missing : merged.missing) {
        plan.missing.push_back(PartBetween(grid, missing, setAside));
    }
    auto kept = merged.kept.begin();
    for (const SegmentScan& segment : segments) {
        const auto end = kept + std::ssize(segment.scans);
        plan.kept.emplace_back(std::move_iterator(kept), std::move_iterator(end));
        kept = end;
    }
    return plan;
}

Sightings SegmentJoiner::Add(const SegmentScan& segment, std::span<const std::vector<BlockRange>> kept) {
    Sightings given;
    given.finds = finds_.TakeBefore(segment.blocks.first);
    for (std::size_t i = 0; i < segment.scans.size() && i < kept.size(); ++i) {
        finds_.Add(segment.scans[i], kept[i]);
    }
    const auto& starts = segment.seen.starts;
    given.starts.assign(std::ranges::lower_bound(starts, nextStart_), starts.end());
    ForEachBehind(segment.seen.textStarts, nextText_, [&given](SectorRange range) { given.AddTextStarts(range); });
    ForEachBehind(segment.seen.zeros, nextZeros_, [&given](SectorRange range) { given.AddZeros(range); });
    if (!given.starts.empty()) {
        nextStart_ = given.starts.back() + 1;
    }
    return given;
}

Sightings SegmentJoiner::Finish() {
    Sightings given;
    given.finds = finds_.TakeBefore(grid_.BlockCount());
    return given;
}

std::int64_t NextSetAside(const ScanGrid& grid, std::span<const SegmentScan> segments,
                          std::span<const std::int32_t> types, std::int64_t block) {
    std::int64_t next = grid.BlockCount();
    for (const SegmentScan& segment : segments) {
        for (const BlocksSetAside& aside : segment.setAside) {
            if (aside.blocks.first >= block && std::ranges::find(types, aside.type) != types.end()) {
                next = std::min(next, aside.blocks.first);
            }
        }
    }
    return next;
}

}  // namespace salvor
