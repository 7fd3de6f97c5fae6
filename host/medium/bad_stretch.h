#pragma once

#include <cstdint>
#include <functional>

#include "host/medium/sector_ranges.h"

namespace salvor {

/// Finds out which sectors from `first` on cannot be read; `first` itself is the first of them. Each try can take a
/// failing device seconds, so as few as possible are made: they go ahead in growing steps until one succeeds, and come
/// back to the edge by halving. Then the inside is halved as well, until nothing readable longer than a 128th of the
/// stretch can be hidden there; `skipInside` leaves the inside untried. What is untried counts as unreadable.
///
/// `canRead` is asked about sectors after `first` and before `end`.
SectorRangeSet FindBadStretch(std::int64_t first, std::int64_t end, bool skipInside,
                              const std::function<bool(std::int64_t)>& canRead);

}  // namespace salvor
