#pragma once

#include <cstdint>
#include <optional>

#include "host/validators/place.h"
#include "host/validators/text/text_run.h"

namespace salvor {

/// Where a text file that is followed by another text ends. The rest of a file's last cluster often holds older text,
/// and another text may begin with the next cluster: what comes after is unlike the text before it, and mostly begins
/// in the middle of a line. `run` begins at `from`; `isPiece` if it is the rest of a file itself, which may end at any
/// cluster's border. Nothing where no such end is likely, or where nothing is known of clusters.
std::optional<std::int64_t> FindSeam(Place& file, std::int64_t from, const TextRun& run, bool isPiece);

}  // namespace salvor
