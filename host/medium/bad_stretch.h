#pragma once

#include <cstdint>
#include <functional>

#include "host/medium/sector_ranges.h"

namespace salvor {

/// Finds out which sectors cannot be read from `first` on, which is the first of them. A try can take a failing device
/// seconds, so as few as possible are made: they go ahead in growing steps until one succeeds, and come back to the
/// edge by halving. Then the inside is halved as well, until nothing readable can hide there that is longer than a
/// 128th of the stretch; `skipInside` leaves the inside alone. What is left untried counts as unreadable.
///
/// `canRead` is asked about sectors behind `first` and in front of `end`.
SectorRangeSet FindBadStretch(std::int64_t first, std::int64_t end, bool skipInside,
                              const std::function<bool(std::int64_t)>& canRead);

}  // namespace salvor
