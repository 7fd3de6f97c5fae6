#pragma once

#include <cstdint>
#include <map>
#include <vector>

#include "host/medium/scan_medium.h"
#include "host/plan/plan.h"

namespace salvor {

// Outcomes count the sectors of what is scanned, planned files those of the image.

/// The medium outlives the result.
MediumShape ShapeOf(const ScanMedium& medium);

/// Cuts files at the gaps between joined pieces: no file goes on across one.
void EndAtGaps(Outcomes& outcomes, const ScanMedium& medium);

/// Like `MakePlan`, but files, and what is passed over, have their places on the image. Without a `PassOver`, the plan
/// keeps everything that is passed over.
Plan PlanOnImage(Outcomes outcomes, const ScanMedium& medium, const PlanFilter& filter,
                 const std::map<std::int32_t, std::int64_t>& caps, const PassOver& passOver = {});

}  // namespace salvor
