#pragma once

#include <memory>
#include <string>

#include "host/medium/space.h"
#include "host/report/json_lines.h"
#include "host/report/line_log.h"

namespace salvor {

/// The record of the space that was scanned: its kind, how many pieces it has, their size together, and a digest of all
/// of them. The pieces themselves are on the lines of `SpaceLines`.
Json SpaceToJson(const Space& space);

/// The lines that follow such a record.
std::string SpaceLines(const Space& space);

/// The space of a record and the lines behind it, which anyone may have written. Throws an exception of the standard
/// library for what is not a space of a medium of this size in bytes.
std::shared_ptr<const Space> SpaceFromLines(const Json& record, std::int32_t sectorSize, std::int64_t mediumBytes,
                                            LineReader& lines);

}  // namespace salvor
