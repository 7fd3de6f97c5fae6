#pragma once

#include <cstdint>
#include <vector>

#include "host/medium/extent.h"
#include "host/validate/claims.h"
#include "host/validate/seldom.h"
#include "host/validators/finding.h"

namespace salvor {

/// Where a file system says that a file's bytes lie.
struct SettledPlace {
    /// In the file's order, from its start on; empty for a file in one piece.
    std::vector<Extent> extents;
    /// So many bytes of the extents surely belong to this file.
    std::int64_t ownBytes = 0;
    bool operator==(const SettledPlace&) const = default;
};

/// What is at a place where a find or a start lies; one a place. There may be millions.
struct Outcome {
    std::int64_t startSector = 0;
    /// With verdict `NoFile`, its `why` says why there is none, and its type is that of the first claim.
    Finding finding;
    /// What scanners reported here, in the order of their types; empty for a start that only validators saw.
    Claims reported;
    Seldom<SettledPlace> place;
    /// The caller's index of what a file system knows of it; -1 for unknown files.
    std::int32_t known = -1;
    bool operator==(const Outcome&) const = default;
};

}  // namespace salvor
