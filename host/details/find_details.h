#pragma once

#include "host/medium/image_spec.h"
#include "host/medium/medium.h"
#include "host/plan/plan.h"
#include "host/platform/folder.h"

namespace salvor {

/// Where previews go, in the folder.
inline constexpr const char* PreviewFolder = "previews";

/// Finds out what the plan's pictures, films, sounds and documents say of themselves, in worker processes, and notes it
/// in the plan. Small pictures that lie in files which no browser shows go to the folder's `PreviewFolder`, if there is
/// a folder and the filter wants the file for what it says. A file over which a worker falls has no details; where no
/// worker can be started, no file has. `image` says how workers open the medium.
void FindDetails(Medium& medium, const ImageSpec& image, Plan& plan, const PlanFilter& filter, const Folder* folder);

}  // namespace salvor
