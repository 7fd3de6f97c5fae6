#pragma once

#include <cstdint>

#include "host/validators/place.h"

namespace salvor {

/// Programs that manage pictures append their notes to the file, in blocks that say their own length. The end of all
/// such blocks from `end` on, which is the picture's own; `end` itself where none begins.
std::int64_t EndOfPictureTrailers(Place& file, std::int64_t end);

}  // namespace salvor
