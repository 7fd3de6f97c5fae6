#pragma once

#include <cstdint>

#include "host/validators/place.h"

namespace salvor {

/// Picture managers append their notes to the file, in blocks that store their own length. Gives the end of all such
/// blocks from `end`, the picture's own end, on; `end` itself if there are none.
std::int64_t EndOfPictureTrailers(Place& file, std::int64_t end);

}  // namespace salvor
