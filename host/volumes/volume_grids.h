#pragma once

#include <vector>

#include "host/medium/scan_medium.h"
#include "host/validate/cluster_grid.h"
#include "host/volumes/volume.h"

namespace salvor {

/// Where the clusters of a medium's file systems lie, in sectors of what is scanned. Slack of living files holds no
/// clusters and is left out. The volumes may be what a hostile medium made a worker say.
std::vector<GridStretch> GridsOf(const std::vector<Volume>& volumes, const ScanMedium& scanned);

}  // namespace salvor
