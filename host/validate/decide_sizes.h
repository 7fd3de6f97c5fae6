#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <vector>

#include "host/medium/medium.h"
#include "host/validate/sized_find.h"

namespace salvor {

/// What the sizes of a scan's finds depend on besides the medium.
struct SizeDecision {
    /// Factory indices, ascending. Finds of other types are left as they are; those of known size bound others.
    std::vector<std::int32_t> types;
    /// Caps in bytes that the scan set, by factory index; the types' own hold for the others.
    std::map<std::int32_t, std::int64_t> caps;
};

/// Decides the sizes that the scanners left open, in the order of the finds. Camera raws, and TIFFs whose reported size
/// is too small, are measured by what they hold; what cannot be measured ends where the next find of known size begins,
/// where files of its type do at the latest, or where the medium does. The same finds get the same sizes on the same
/// medium. `progress` is told the byte of the medium that measuring has come to and returns true to stop; what is
/// behind it keeps the reported sizes then.
std::vector<SizedFind> DecideSizes(Medium& medium, const std::vector<Find>& finds, const SizeDecision& decision,
                                   const std::function<bool(std::int64_t)>& progress);

}  // namespace salvor
