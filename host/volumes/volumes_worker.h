#pragma once

#include "host/workers/worker.h"

namespace salvor {

/// Reads the volumes of the order's medium and sends them as the lines of `VolumeLines`. The order says what is wanted:
/// `used`, `files` and `allowance`.
inline constexpr const char* VolumesOrder = "volumes";
bool WorkOnVolumes(Worker& worker);

}  // namespace salvor
