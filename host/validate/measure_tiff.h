#pragma once

#include <cstdint>
#include <optional>

#include "host/medium/candidate_reader.h"

namespace salvor {

/// Size in bytes of a TIFF or of a camera's raw file built like one, in either byte order: the furthest end of its
/// directories, of what these keep outside of themselves and of the image data they point to. Directories are followed
/// along the chain and into those they name. Nothing if the bytes do not begin with a header and a directory.
///
/// What begins behind the end of `bytes` is left out, since a damaged pointer is more likely than a file cut there;
/// what begins in front of that end and passes it counts with all its length.
std::optional<std::int64_t> MeasureTiff(CandidateReader& bytes);

}  // namespace salvor
