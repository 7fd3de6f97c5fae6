#pragma once

#include <span>
#include <vector>

#include "host/scan/merge.h"

namespace test {

struct MergedScan {
    std::vector<salvor::Find> finds;
    std::vector<salvor::MissingScan> missing;
};

/// Scans that are in memory with their finds; no finds while scans are missing.
inline MergedScan MergeScans(const salvor::ScanGrid& grid, std::span<const salvor::TypeScan> scans) {
    const salvor::MergePlan plan = PlanMerge(grid, scans);
    salvor::FindMerger merger(grid);
    for (std::size_t i = 0; plan.missing.empty() && i < scans.size(); ++i) {
        merger.Add(scans[i], plan.kept[i]);
    }
    return {merger.TakeBefore(grid.BlockCount()), plan.missing};
}

}  // namespace test
