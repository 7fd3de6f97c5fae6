#pragma once

#include <algorithm>
#include <string>

#include "host/validators/finding.h"
#include "host/validators/place.h"

namespace salvor {

/// The finding for a structure that is right up to `rightUpTo` and should reach at least `wanted`: truncated if the
/// medium's end or the start of another file is in the way, else damaged. Offsets count from the place's start.
inline Finding BrokenAt(const Place& file, std::int64_t rightUpTo, std::int64_t wanted, std::int32_t type,
                        const std::string& why) {
    rightUpTo = std::clamp<std::int64_t>(rightUpTo, 0, file.Limit());
    if (wanted > file.Limit()) {
        return {Verdict::Truncated, file.Limit(), type, {}, why + ": goes on past the medium's end"};
    }
    const std::int64_t next = file.NextStart(rightUpTo);
    if (next < wanted) {
        return {Verdict::Truncated, next, type, {}, why + ": another file begins there"};
    }
    return {Verdict::Damaged, rightUpTo, type, {}, why};
}

}  // namespace salvor
