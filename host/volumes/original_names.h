#pragma once

#include <string>
#include <vector>

#include "host/volumes/known_files.h"

namespace salvor {

/// Paths below an output folder for known files, by index: `original/DCIM/100/IMG_0001.JPG`, preceded by the volume's
/// number if there are several volumes. Whatever a file system says, no path leaves the folder, contains a name that
/// some system reserves or forbids, is too long, or equals another one except for case. Empty for files without a name.
std::vector<std::string> OriginalPaths(const KnownFiles& files);

}  // namespace salvor
