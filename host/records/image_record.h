#pragma once

#include "host/medium/image_spec.h"
#include "host/records/json_lines.h"

namespace salvor {

/// The spec as fields of a record: `path` and, if given, `format` and `map`. A path that is not UTF-8 is stored in
/// hexadecimal, under its key with `_hex` appended.
Json ImageSpecToJson(const ImageSpec& spec);

/// Throws a JSON exception or `std::invalid_argument` if a field is missing or makes no sense.
ImageSpec ImageSpecFromJson(const Json& fields);

}  // namespace salvor
