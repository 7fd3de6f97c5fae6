#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "host/medium/image_format.h"
#include "host/medium/medium_source.h"

namespace salvor {

/// Opens the image below this one: its name as the file has it, and its format if the file gives one.
using OpenBelow =
    std::function<std::unique_ptr<MediumSource>(const std::string& name, std::optional<ImageFormat> format)>;

/// Reads the file's bytes as a qcow2 image of version 2 or 3 ("The QCOW2 image format", docs/interop/qcow2.txt of
/// QEMU). Clusters that the file lacks are known to be zeros, or are read from the image below. Throws
/// `std::invalid_argument` with the reason if the image cannot be read.
std::unique_ptr<MediumSource> OpenQcow2Image(std::unique_ptr<MediumSource> file, const OpenBelow& openBelow);

}  // namespace salvor
