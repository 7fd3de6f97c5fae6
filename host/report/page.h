#pragma once

#include "host/platform/folder.h"

namespace salvor {

/// The page's name in the folder.
inline constexpr const char* PageName = "index.html";

/// Writes the page of a folder from its report, replacing an existing page. It is one file that needs only the
/// recovered files. False, and says so, if lines of the report are damaged. Throws `Failure`: not started if there is
/// no report, losses if the page cannot be written.
bool WritePage(const Folder& folder);

}  // namespace salvor
