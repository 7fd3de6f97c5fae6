#pragma once

#include <cstdint>
#include <span>

namespace salvor {

/// Where a file system lets files begin: at every `sectorsPerCluster`th sector, the first of which is `phase`. With one
/// sector a cluster a file may begin anywhere.
struct ClusterGrid {
    std::int64_t sectorsPerCluster = 1;
    std::int64_t phase = 0;

    bool Holds(std::int64_t sector) const { return sector % sectorsPerCluster == phase; }
};

/// The grid on which files begin: the largest cluster of 1 to 64 KiB on which nine in ten of eight or more starts lie.
/// `starts` are sectors where files of binary formats begin for sure, in any order.
ClusterGrid FindClusterGrid(std::span<const std::int64_t> starts, std::int64_t sectorSize);

}  // namespace salvor
