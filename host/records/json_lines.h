#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "host/medium/extent.h"
#include "host/medium/sector_ranges.h"
#include "host/platform/file.h"

namespace salvor {

/// JSON whose objects keep the order of insertion.
using Json = nlohmann::ordered_json;

/// The value on one line, with a line break; bytes that are not UTF-8 are replaced.
std::string JsonLine(const Json& value);

/// A text as JSON, with its quotes; bytes that are not UTF-8 are replaced.
std::string JsonText(const std::string& text);

/// The JSON value on a line; a discarded one when there is none.
Json ParseJsonLine(const std::string& line);

/// Calls `take` with the value of each line from the file's current position on. A line for which it throws a JSON
/// exception or `std::invalid_argument`, as the functions here do, is skipped: it is cut or not a record of ours.
void ForEachRecord(File& file, const std::function<void(const Json& record)>& take);

/// An integer. Throws `std::invalid_argument` for anything else.
std::int64_t IntegerOf(const Json& value);

/// The integer in a record's field. Throws a JSON exception if there is no such field, `std::invalid_argument` if it is
/// not an integer.
std::int64_t IntegerIn(const Json& record, const char* key);

/// An array of {"first", "count"}.
Json RangesToJson(const std::vector<SectorRange>& ranges);

/// An array of {"start_sector", "bytes"}; holes have {"zeros": true} in place of a start.
Json ExtentsToJson(const std::vector<Extent>& extents);

/// The extents in a record's field, as `ExtentsToJson` writes them; nothing if it has anything else.
std::optional<std::vector<Extent>> ExtentsFromJson(const Json& record, const char* key);

/// An array of pairs: largest sizes in bytes by factory index.
Json CapsToJson(const std::map<std::int32_t, std::int64_t>& caps);

/// Throws a JSON exception for anything else.
std::map<std::int32_t, std::int64_t> CapsFromJson(const Json& caps);

/// The ranges in a record's field, as `RangesToJson` writes them; nothing if it has anything else, including impossible
/// sectors.
std::optional<std::vector<SectorRange>> RangesFromJson(const Json& record, const char* key);

}  // namespace salvor
