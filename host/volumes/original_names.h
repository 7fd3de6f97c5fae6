#pragma once

#include <string>
#include <vector>

#include "host/volumes/known_files.h"

namespace salvor {

/// Paths below an output folder under which known files can be written, by index: `original/DCIM/100/IMG_0001.JPG`,
/// with the volume's number in front where files lie on several. Whatever a file system says, no path leaves the
/// folder, holds a name that some system reserves or cannot have, is longer than systems take, or is that of another
/// file, whatever the case of its letters. Empty for files without a name.
std::vector<std::string> OriginalPaths(const KnownFiles& files);

}  // namespace salvor
