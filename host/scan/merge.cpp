#include "host/scan/merge.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <optional>
#include <utility>

#include "frame/contract/FileTypeCatalog.h"

namespace salvor {

namespace {

// The first border at or after `border` that is in none of the ranges.
std::int64_t NextOutside(const std::vector<BlockRange>& ranges, std::int64_t border) {
    auto range = std::ranges::upper_bound(ranges, border, {}, &BlockRange::end);
    for (; range != ranges.end() && range->first <= border; ++range) {
        border = range->end;
    }
    return border;
}

bool RestsAt(const TypeScan& scan, std::int64_t border) {
    return border == scan.blocks.first || NextOutside(scan.restless, border) == border;
}

// The last border up to `to` at which the scan was at rest.
std::int64_t LastRest(const TypeScan& scan, std::int64_t from, std::int64_t to) {
    for (auto range = scan.restless.rbegin(); range != scan.restless.rend() && to > from; ++range) {
        if (range->first <= to && to < range->end) {
            to = range->first - 1;
        }
    }
    return std::max(from, to);
}

// The first border in the range at which both were at rest; the range's end if there is none.
std::int64_t FirstCommonRest(const TypeScan& one, const TypeScan& other, BlockRange borders) {
    std::int64_t border = borders.first;
    while (border < borders.end && !(RestsAt(one, border) && RestsAt(other, border))) {
        const std::int64_t ofOne = RestsAt(one, border) ? border : NextOutside(one.restless, border);
        const std::int64_t ofOther = RestsAt(other, border) ? border : NextOutside(other.restless, border);
        border = std::max(ofOne, ofOther);
    }
    return std::min(border, borders.end);
}

// A scan, and the blocks for which its finds count.
struct Stretch {
    const TypeScan* scan;
    BlockRange blocks;
};

// The finds of one type.
class TypeMerge {
public:
    TypeMerge(const ScanGrid& grid, std::int32_t type, std::vector<const TypeScan*> scans)
        : grid_(grid), type_(type), nothing_{.type = type, .blocks = {0, 0}}, scans_(std::move(scans)) {
        std::ranges::sort(scans_, {}, [](const TypeScan* scan) { return scan->blocks.first; });
    }

    /// Calls `keep(scan, blocks)` for what counts.
    template <class Keep>
    void Run(std::vector<MissingScan>& missing, Keep&& keep) {
        if (auto needed = FollowScans()) {
            missing.push_back(std::move(*needed));
            return;
        }
        for (const Stretch& stretch : stretches_) {
            if (auto needed = KeepStretch(stretch, keep)) {
                missing.push_back(std::move(*needed));
            }
        }
    }

private:
    // Goes from scan to scan to the end of the range; if it gets stuck, gives the scan that is needed.
    std::optional<MissingScan> FollowScans() {
        const TypeScan* held = &nothing_;
        std::int64_t at = 0;
        while (held->blocks.end < grid_.BlockCount()) {
            const auto [next, border] = NextScan(*held, at);
            if (next == nullptr) {
                const std::int64_t from = LastRest(*held, at, held->blocks.end);
                return MissingScan{type_, from, from + 1, RestsBehind(held->blocks.end)};
            }
            stretches_.push_back({held, {at, border}});
            held = next;
            at = border;
        }
        stretches_.push_back({held, {at, grid_.BlockCount()}});
        return std::nullopt;
    }

    // Of the scans that go further, the one that goes furthest, and the border at which it takes over.
    std::pair<const TypeScan*, std::int64_t> NextScan(const TypeScan& held, std::int64_t at) {
        std::pair<const TypeScan*, std::int64_t> best{nullptr, 0};
        const std::int64_t end = held.blocks.end;
        while (firstUseful_ < scans_.size() && scans_[firstUseful_]->blocks.end <= end) {
            ++firstUseful_;
        }
        for (std::size_t i = firstUseful_; i < scans_.size() && scans_[i]->blocks.first <= end; ++i) {
            const TypeScan& scan = *scans_[i];
            if (scan.blocks.end <= std::max(end, best.first != nullptr ? best.first->blocks.end : 0)) {
                continue;
            }
            const std::int64_t border = FirstCommonRest(held, scan, {std::max(at, scan.blocks.first), end + 1});
            if (border <= end) {
                best = {&scan, border};
            }
        }
        return best;
    }

    // The borders at which a scan that goes beyond `end` was at rest.
    std::vector<BlockRange> RestsBehind(std::int64_t end) const {
        std::vector<BlockRange> rests;
        for (const TypeScan* scan : scans_) {
            if (scan->blocks.end <= end) {
                continue;
            }
            std::int64_t from = std::max(end + 1, scan->blocks.first);
            from = RestsAt(*scan, from) ? from : NextOutside(scan->restless, from);
            for (const BlockRange& restless : scan->restless) {
                if (restless.first > from) {
                    rests.push_back({from, restless.first});
                }
                from = std::max(from, restless.end);
            }
            if (from <= scan->blocks.end) {
                rests.push_back({from, scan->blocks.end + 1});
            }
        }
        std::ranges::sort(rests, {}, &BlockRange::first);
        return rests;
    }

    template <class Keep>
    std::optional<MissingScan> KeepStretch(const Stretch& stretch, Keep&& keep) const {
        std::vector<std::int64_t> unknown;
        std::int64_t from = stretch.blocks.first;
        for (const std::int64_t block : GuessedIn(stretch)) {
            keep(stretch.scan, BlockRange{from, block});
            from = block + 1;
            if (const TypeScan* const sure = WithoutGuess(block)) {
                keep(sure, BlockRange{block, block + 1});
            } else {
                unknown.push_back(block);
            }
        }
        keep(stretch.scan, BlockRange{from, stretch.blocks.end});
        return unknown.empty() ? std::nullopt : std::optional(FurtherBack(unknown));
    }

    // In the first block there is no earlier file that a scanner could miss.
    static bool GuessesIn(const TypeScan& scan, std::int64_t block) {
        return scan.blocks.first > 0 && std::ranges::binary_search(scan.guessed, block);
    }

    static std::vector<std::int64_t> GuessedIn(const Stretch& stretch) {
        std::vector<std::int64_t> blocks;
        std::ranges::copy_if(stretch.scan->guessed, std::back_inserter(blocks), [&](std::int64_t block) {
            return block >= stretch.blocks.first && block < stretch.blocks.end && GuessesIn(*stretch.scan, block);
        });
        return blocks;
    }

    const TypeScan* WithoutGuess(std::int64_t block) const {
        const auto sure = std::ranges::find_if(scans_, [block](const TypeScan* scan) {
            return scan->blocks.first <= block && block < scan->blocks.end && !GuessesIn(*scan, block);
        });
        return sure != scans_.end() ? *sure : nullptr;
    }

    // A guess may lack any earlier file. Each attempt starts twice as far back as the one before.
    MissingScan FurtherBack(const std::vector<std::int64_t>& blocks) const {
        constexpr std::int64_t fewestBlocks = 8;
        std::int64_t first = blocks.front();
        for (const TypeScan* scan : scans_) {
            if (scan->blocks.end > blocks.front()) {
                first = std::min(first, scan->blocks.first);
            }
        }
        const std::int64_t seen = blocks.front() - first;
        const std::int64_t to = blocks.back() + 1;
        return {type_, std::max<std::int64_t>(first - std::max(seen, fewestBlocks), 0), to, {{to, to + 1}}};
    }

    const ScanGrid& grid_;
    std::int32_t type_;
    // Stands for the medium before the first scan.
    TypeScan nothing_;
    // Ordered by first block.
    std::vector<const TypeScan*> scans_;
    std::size_t firstUseful_ = 0;
    std::vector<Stretch> stretches_;
};

bool IsInGrid(const TypeScan& scan, const ScanGrid& grid) {
    return scan.blocks.first >= 0 && scan.blocks.first < scan.blocks.end && scan.blocks.end <= grid.BlockCount();
}

}  // namespace

MergePlan PlanMerge(const ScanGrid& grid, std::span<const TypeScan> scans) {
    std::map<std::int32_t, std::vector<const TypeScan*>> byType;
    for (const TypeScan& scan : scans) {
        if (IsInGrid(scan, grid)) {
            byType[scan.type].push_back(&scan);
        }
    }
    MergePlan plan;
    plan.kept.resize(scans.size());
    for (const std::int32_t type : grid.types) {
        TypeMerge(grid, type, byType[type]).Run(plan.missing, [&](const TypeScan* scan, BlockRange blocks) {
            // Before the first scan there is nothing to keep.
            if (blocks.first < blocks.end) {
                plan.kept[static_cast<std::size_t>(scan - scans.data())].push_back(blocks);
            }
        });
    }
    for (std::vector<BlockRange>& kept : plan.kept) {
        std::ranges::sort(kept, {}, &BlockRange::first);
    }
    return plan;
}

FindMerger::FindMerger(const ScanGrid& grid) : grid_(grid) {
    for (const std::int32_t type : grid.types) {
        ranks_.emplace(type, ranks_.size());
    }
}

void FindMerger::Add(const TypeScan& scan, std::span<const BlockRange> kept) {
    for (const PlacedFind& placed : scan.finds) {
        const std::int64_t block = grid_.BlockOf(placed.part);
        const auto behind = std::ranges::upper_bound(kept, block, {}, &BlockRange::first);
        if (behind != kept.begin() && block < std::prev(behind)->end) {
            const bool isOfWholeBlock = FileTypeCatalog[scan.type].dependsOnBlocks;
            waiting_.push_back({{block, isOfWholeBlock, placed.part, ranks_.at(scan.type)}, placed.find});
        }
    }
}

std::vector<Find> FindMerger::TakeBefore(std::int64_t block) {
    const auto behind = std::stable_partition(
        waiting_.begin(), waiting_.end(), [block](const auto& placed) { return std::get<0>(placed.first) < block; });
    std::stable_sort(waiting_.begin(), behind, [](const auto& a, const auto& b) { return a.first < b.first; });
    std::vector<Find> finds;
    finds.reserve(static_cast<std::size_t>(behind - waiting_.begin()));
    std::transform(waiting_.begin(), behind, std::back_inserter(finds),
                   [](const auto& placed) { return placed.second; });
    waiting_.erase(waiting_.begin(), behind);
    return finds;
}

}  // namespace salvor
