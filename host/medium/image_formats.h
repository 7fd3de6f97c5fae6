#pragma once

#include <memory>
#include <string>

#include "host/medium/image_format.h"
#include "host/medium/medium_source.h"
#include "host/platform/device.h"

namespace salvor {

// One source for each way to store a medium's bytes. Each throws `Failure` (not started) if the image cannot be read.

/// Reads the file or device itself.
std::unique_ptr<MediumSource> OpenRawImage(Device device, const std::string& path);

/// True if the file at `path` is a part of a split image, judging by its name and those of the files beside it.
bool IsPartOfSplitImage(const std::string& path);

/// Reads several files in a row, of which `path` must be the first.
std::unique_ptr<MediumSource> OpenSplitImage(const std::string& path);

/// Reads AFF, VMDK, VHD and VHDX through libtsk.
std::unique_ptr<MediumSource> OpenContainer(const std::string& path, ImageFormat format);

}  // namespace salvor
