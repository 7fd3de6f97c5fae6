#pragma once

#include <memory>
#include <string>

#include "host/medium/space.h"
#include "host/records/json_lines.h"
#include "host/records/line_log.h"

namespace salvor {

/// The record of the scanned space: its kind, the number of its pieces, their total size, and a digest of all of them.
/// The pieces themselves are on the lines of `SpaceLines`.
Json SpaceToJson(const Space& space);

/// The lines that follow such a record.
std::string SpaceLines(const Space& space);

/// The space of a record and the lines after it, which may come from anywhere. Throws an exception of the standard
/// library if they are not a space of a medium of this size in bytes.
std::shared_ptr<const Space> SpaceFromLines(const Json& record, std::int32_t sectorSize, std::int64_t mediumBytes,
                                            LineReader& lines);

}  // namespace salvor
