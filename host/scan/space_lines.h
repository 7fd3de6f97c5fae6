#pragma once

#include <memory>
#include <string>

#include "host/medium/space.h"
#include "host/report/json_lines.h"
#include "host/report/line_log.h"

namespace salvor {

/// What a record says of the space that was scanned: its kind, the number and the size of its pieces, and a digest of
/// all of them, which stand on the lines of `SpaceLines`.
Json SpaceToJson(const Space& space);

/// The lines that follow such a record.
std::string SpaceLines(const Space& space);

/// The space of a record and the lines behind it. Anyone may have written them: throws an exception of the standard
/// library for what is no space of a medium of this size in bytes.
std::shared_ptr<const Space> SpaceFromLines(const Json& record, std::int32_t sectorSize, std::int64_t mediumBytes,
                                            LineReader& lines);

}  // namespace salvor
