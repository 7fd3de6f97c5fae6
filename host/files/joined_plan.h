#pragma once

#include <cstdint>
#include <map>
#include <vector>

#include "host/medium/scan_medium.h"
#include "host/plan/plan.h"

namespace salvor {

// Outcomes count the sectors of what is scanned, files those of the image.

/// The medium outlives it.
MediumShape ShapeOf(const ScanMedium& medium);

/// No file goes on over a gap between pieces that are joined.
void EndAtGaps(std::vector<Outcome>& outcomes, const ScanMedium& medium);

/// Like `MakePlan`, with the places that files, and what is passed over, have on the image. Without a `PassOver`, the
/// plan keeps all that is passed over.
Plan PlanOnImage(const std::vector<Outcome>& outcomes, const ScanMedium& medium, const PlanFilter& filter,
                 const std::map<std::int32_t, std::int64_t>& caps, const PassOver& passOver = {});

}  // namespace salvor
