#pragma once

#include <optional>
#include <string>

#include "host/medium/image_format.h"
#include "host/report/json_lines.h"

namespace salvor {

/// How to open a medium: everything that another process needs to see the same bytes.
struct ImageSpec {
    /// An image's first file, or a device.
    std::string path;
    /// Recognised by the content if empty.
    std::optional<ImageFormat> format = std::nullopt;
    /// A rescue map, which lists the areas with data; empty for none.
    std::string map = {};

    bool operator==(const ImageSpec&) const = default;
};

/// The spec as fields of a record: `path` and, if given, `format` and `map`. A path that is not UTF-8 is stored in
/// hexadecimal, under its key with `_hex` appended.
Json ImageSpecToJson(const ImageSpec& spec);

/// Throws a JSON exception or `std::invalid_argument` if a field is missing or makes no sense.
ImageSpec ImageSpecFromJson(const Json& fields);

}  // namespace salvor
