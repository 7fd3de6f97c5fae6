#pragma once

#include <cstdint>
#include <string>

#include "host/plan/plan.h"
#include "host/platform/folder.h"

namespace salvor {

/// The length of a file's line in the report, a bit above the average, in bytes.
inline constexpr std::int64_t FileLineBytes = 640;

/// Removes from the plan what the disk has no room for, reports included; false if it removed anything. Files that are
/// there already need no room. `taken` bytes of the free space are for something else. For `partialSuffix` see
/// `FileFolders`.
bool FitOntoDisk(Plan& plan, const Folder& folder, const std::string& partialSuffix, std::int64_t taken);

}  // namespace salvor
