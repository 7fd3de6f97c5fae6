#pragma once

#include <cstdint>

#include "host/validators/place.h"
#include "host/validators/text/text_run.h"

namespace salvor {

/// Ends a run where the text file most likely ends that is followed by another text. The rest of a file's last cluster
/// often holds older text, and another text may begin with the next cluster: what comes after is unlike the text before
/// it, and mostly begins in the middle of a line. `run` begins at `from`; `isPiece` if it is the rest of a file itself,
/// which may end at any cluster's border. Changes nothing where no such end is likely, or where nothing is known of
/// clusters.
void EndAtSeam(Place& file, std::int64_t from, TextRun& run, bool isPiece);

}  // namespace salvor
