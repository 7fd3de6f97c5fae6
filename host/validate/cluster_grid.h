#pragma once

#include <cstdint>
#include <span>

#include "host/validators/place.h"

namespace salvor {

/// The grid on which files begin: the largest cluster size from 1 to 64 KiB whose grid holds nine in ten of the starts.
/// It takes eight starts or more. `starts` are sectors where files of binary formats certainly begin, in any order.
ClusterGrid FindClusterGrid(std::span<const std::int64_t> starts, std::int64_t sectorSize);

}  // namespace salvor
