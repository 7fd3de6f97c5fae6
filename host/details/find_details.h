#pragma once

#include "host/medium/image_spec.h"
#include "host/medium/medium.h"
#include "host/plan/plan.h"
#include "host/platform/folder.h"

namespace salvor {

/// Where previews go, in the folder.
inline constexpr const char* PreviewFolder = "previews";

/// Reads the details of the plan's pictures, films, sounds and documents in worker processes, and notes them in the
/// plan. Previews inside files that no browser shows go to the folder's `PreviewFolder`, if there is a folder and the
/// filter keeps the file. A file on which a worker crashes gets no details; if no worker can be started, no file does.
/// `image` says how workers open the medium.
void FindDetails(Medium& medium, const ImageSpec& image, Plan& plan, const PlanFilter& filter, const Folder* folder);

}  // namespace salvor
