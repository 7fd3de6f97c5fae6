#pragma once

#include <optional>
#include <string>

#include "host/medium/image_format.h"

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

}  // namespace salvor
