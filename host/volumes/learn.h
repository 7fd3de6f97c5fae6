#pragma once

#include <cstdint>
#include <map>
#include <vector>

#include "host/medium/image_spec.h"
#include "host/medium/medium.h"
#include "host/validate/outcome.h"
#include "host/volumes/knowledge.h"
#include "host/volumes/known_files.h"

namespace salvor {

/// What the partition table and the file systems of a medium say; `withFiles` asks for files and used
/// sectors too. A worker process, which opens the medium as `image` says, reads them. Where it does not come to an end,
/// the person is told, and what it has found counts.
Knowledge LearnVolumes(Medium& medium, const ImageSpec& image, bool withFiles);

/// Asks the file systems what they know of the files of a medium, with progress for the person, and improves the
/// outcomes by it; see `PreferKnown`. The outcomes' indices count the files that are returned.
KnownFiles AskFileSystems(Medium& medium, const ImageSpec& image, const std::map<std::int32_t, std::int64_t>& caps,
                          std::vector<Outcome>& outcomes, bool quiet);

}  // namespace salvor
