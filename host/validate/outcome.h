#pragma once

#include <cstdint>
#include <deque>
#include <vector>

#include "host/medium/extent.h"
#include "host/validate/claims.h"
#include "host/validate/seldom.h"
#include "host/validators/finding.h"

namespace salvor {

/// The places of a file's bytes according to a file system.
struct SettledPlace {
    /// In the file's order, from its start on; empty for a contiguous file.
    std::vector<Extent> extents;
    /// How many bytes of the extents certainly belong to this file.
    std::int64_t ownBytes = 0;
    bool operator==(const SettledPlace&) const = default;
};

/// The result for a place with finds or a start; there is one for each place, so there may be millions.
struct Outcome {
    std::int64_t startSector = 0;
    /// With verdict `NoFile`, its `why` says why there is none, and its type is that of the first claim.
    Finding finding;
    /// What scanners reported here, ordered by type; empty for a start that only a validator's signature showed.
    Claims reported;
    /// The caller's index of what a file system knows about it; -1 if unknown.
    std::int32_t known = -1;
    Seldom<SettledPlace> place;
    bool operator==(const Outcome&) const = default;
};

/// Ascending by start. A deque takes no second copy to grow, and gives its memory back bit by bit.
using Outcomes = std::deque<Outcome>;

}  // namespace salvor
