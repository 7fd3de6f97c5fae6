#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <vector>

#include "host/medium/medium.h"
#include "host/validate/outcome.h"
#include "host/volumes/known_files.h"

namespace salvor {

/// Compares what was carved with what file systems know. Each outcome that begins where a known file does is linked
/// to that. Where the extents of an intact known file hold a file that is at least as sure as the carved one, they take
/// its place; so they do where nothing was carved. `outcomes` ascend and do so afterwards. `progress` is told how many
/// bytes of the medium are done with and returns true to stop; false if it did.
bool PreferKnown(Medium& medium, const KnownFiles& files, const std::map<std::int32_t, std::int64_t>& caps,
                 std::vector<Outcome>& outcomes, const std::function<bool(std::int64_t)>& progress);

}  // namespace salvor
