#pragma once

#include <cstdint>
#include <span>

#include "host/validators/place.h"

namespace salvor {

/// The grid on which files begin: the largest cluster of 1 to 64 KiB on which nine in ten of eight or more starts lie.
/// `starts` are sectors where files of binary formats begin for sure, in any order.
ClusterGrid FindClusterGrid(std::span<const std::int64_t> starts, std::int64_t sectorSize);

}  // namespace salvor
