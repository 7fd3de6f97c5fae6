#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "host/medium/image_spec.h"
#include "host/medium/medium.h"
#include "host/medium/medium_source.h"

namespace salvor {

/// Opens an image file of any format, or a block device, read-only. Throws `Failure` (not started) with a clear line
/// for a path that is missing, not readable, empty, a folder, a pipe or anything else, and for an image that is damaged
/// or cannot be read.
std::unique_ptr<MediumSource> OpenImage(const ImageSpec& spec);

/// The same in a process that was given a medium's descriptors; `path` is for messages.
std::unique_ptr<MediumSource> OpenPassedImage(const std::string& path, std::span<const int> descriptors);

/// An image, with its rescue map if there is one, as a medium with sectors of `sectorSize` bytes.
std::unique_ptr<Medium> OpenMedium(const ImageSpec& spec, std::int32_t sectorSize, const FailurePolicy& policy);

/// The spec with absolute paths.
ImageSpec Absolute(const ImageSpec& spec);

}  // namespace salvor
