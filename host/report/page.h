#pragma once

#include "host/platform/folder.h"

namespace salvor {

/// The name of the page in the folder.
inline constexpr const char* PageName = "index.html";

/// Writes the page of a folder from its report, in place of one that is there: one file that needs no other but the
/// recovered ones. Throws `Failure`: not started when there is no report, losses when the page cannot be written.
void WritePage(const Folder& folder);

}  // namespace salvor
