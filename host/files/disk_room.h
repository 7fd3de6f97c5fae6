#pragma once

#include <cstdint>
#include <string>

#include "host/plan/plan.h"
#include "host/platform/folder.h"

namespace salvor {

/// Lengths of lines in the reports, a bit above the average, in bytes.
inline constexpr std::int64_t FileLineBytes = 640;
inline constexpr std::int64_t SkippedLineBytes = 512;

/// Removes from the plan what the disk has no room for, reports included; false if it removed anything. Files that are
/// there already need no room. For `partialSuffix` see `FileFolders`.
bool FitOntoDisk(Plan& plan, const Folder& folder, const std::string& partialSuffix);

}  // namespace salvor
