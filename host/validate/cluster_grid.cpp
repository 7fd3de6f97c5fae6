#include "host/validate/cluster_grid.h"

#include <algorithm>
#include <vector>

namespace salvor {

namespace {

constexpr std::size_t LeastStarts = 8;
constexpr std::int64_t LeastClusterBytes = 0x400;
constexpr std::int64_t MostClusterBytes = 0x10000;

struct Crowd {
    std::int64_t phase = 0;
    std::size_t count = 0;
};

Crowd LargestCrowd(std::span<const std::int64_t> starts, std::int64_t sectorsPerCluster) {
    std::vector<std::size_t> counts(static_cast<std::size_t>(sectorsPerCluster));
    for (const std::int64_t start : starts) {
        ++counts[static_cast<std::size_t>(start % sectorsPerCluster)];
    }
    const auto most = std::ranges::max_element(counts);
    return {most - counts.begin(), *most};
}

}  // namespace

ClusterGrid FindClusterGrid(std::span<const std::int64_t> starts, std::int64_t sectorSize) {
    ClusterGrid grid;
    if (starts.size() < LeastStarts) {
        return grid;
    }
    std::size_t lastCount = starts.size();
    for (std::int64_t sectors = 2; sectors * sectorSize <= MostClusterBytes; sectors *= 2) {
        const Crowd crowd = LargestCrowd(starts, sectors);
        // Starts off the larger grid should be strays, which are anywhere. If they are on the smaller grid, that one is
        // the file system's, and large files merely happen to begin at round offsets.
        const std::size_t lost = lastCount - crowd.count;
        const bool isSmallerOne = grid.sectorsPerCluster > 1 && lost * 32 > starts.size();
        if (crowd.count * 10 < starts.size() * 9 || isSmallerOne) {
            break;
        }
        if (sectors * sectorSize >= LeastClusterBytes) {
            grid = {sectors, crowd.phase};
        }
        lastCount = crowd.count;
    }
    return grid;
}

}  // namespace salvor
