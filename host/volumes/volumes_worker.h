#pragma once

#include "host/workers/worker.h"

namespace salvor {

/// The name of orders that read the volumes of the order's medium. The worker sends lines of `VolumeLines`. The order's
/// parameters are `used`, `files` and `allowance`.
inline constexpr const char* VolumesOrderKind = "volumes";
/// Loads the library that it needs, before the sandbox closes.
void LoadVolumesLibrary(const Json& what);
bool WorkOnVolumes(Worker& worker);

}  // namespace salvor
