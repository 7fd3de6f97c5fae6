#pragma once

#include <cstdint>

#include "host/validators/place.h"
#include "host/validators/text/text_run.h"

namespace salvor {

/// Ends a run at the most likely end of a text file that is followed by another text. The rest of a file's last cluster
/// often has older text, and another text may begin with the next cluster: what comes after is unlike the text before,
/// and usually begins in the middle of a line. `run` begins at `from`; `isPiece` if it is itself the rest of a file,
/// which may end at any cluster border. Changes nothing if no such end is likely, or if the clusters are unknown.
void EndAtSeam(Place& file, std::int64_t from, TextRun& run, bool isPiece);

}  // namespace salvor
