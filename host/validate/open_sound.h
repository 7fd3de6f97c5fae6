#pragma once

#include <cstdint>

#include "host/validate/place.h"

namespace salvor {

/// Where a sound of unknown length that begins at `from` ends: at the next file, or at a run of equal bytes longer than
/// sound has. Offsets in bytes from the place's start.
std::int64_t EndOfOpenSound(Place& file, std::int64_t from);

}  // namespace salvor
