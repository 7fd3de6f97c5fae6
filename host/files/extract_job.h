#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "host/files/content_filter.h"
#include "host/files/out_folder.h"
#include "host/medium/image_spec.h"
#include "host/medium/scan_medium.h"
#include "host/plan/plan.h"
#include "host/records/json_lines.h"
#include "host/volumes/known_files.h"

namespace salvor {

/// Where the finds of an extraction come from, for its report.
struct FindsOrigin {
    ImageSpec image;
    std::string findsPath;
    /// The scan went over its whole range.
    bool scanComplete = false;
    /// Caps in bytes that the user set, by factory index.
    std::map<std::int32_t, std::int64_t> caps;
    /// What the scan has skipped, and where.
    std::vector<Json> setAside{};
    /// Sectors of the image that the scan has read as zeros.
    std::vector<SectorRange> zeros{};
};

/// What is extracted, and how. All that is referred to outlives the call.
struct ExtractJob {
    const ScanMedium& scanned;
    /// They count the sectors of what is scanned, the report those of the image. Their indices refer to `known`.
    /// There may be millions: they are gone once the plan is made.
    Outcomes& outcomes;
    const KnownFiles& known;
    const FindsOrigin& origin;
    const PlanFilter& filter;
    const ContentFilter& content;
    /// Prepared by `PrepareOutFolder`.
    const OutFolder& out;
    bool quiet = false;
};

}  // namespace salvor
