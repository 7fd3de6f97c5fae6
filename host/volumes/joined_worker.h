#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "host/records/json_lines.h"
#include "host/validate/outcomes_file.h"
#include "host/volumes/prefer_known.h"
#include "host/workers/worker.h"

namespace salvor {

/// The name of orders that validate the joined extents of known files. The worker answers with lines of `JoinedLine`,
/// and reports unreadable sectors as in an outcomes file.
inline constexpr const char* JoinedOrderKind = "joined";
bool ValidateJoined(Worker& worker);

/// The order's own parameters. `caps` in bytes by factory index.
Json JoinedParameters(const std::vector<JoinedQuestion>& questions, const KnownFiles& files,
                      const std::map<std::int32_t, std::int64_t>& caps);

/// An answer as a line, with its line break.
std::string JoinedLine(std::int32_t file, const Finding& finding);
/// The answer in a line that `TakeOutcomesLine` has read. Throws an exception of the standard library for any other
/// line.
std::pair<std::int32_t, Finding> JoinedIn(const OutcomesRead& read);

}  // namespace salvor
