#pragma once

#include <cstdint>
#include <vector>

#include "host/medium/medium_source.h"
#include "host/plan/file_details.h"

namespace salvor {

/// The largest preview that is taken out of a file, in bytes.
inline constexpr std::int64_t MostPreviewBytes = std::int64_t{512} << 10;

struct PictureDetails {
    FileDetails known;
    /// A JPEG picture; empty if the file has none that is small enough.
    std::vector<std::uint8_t> preview;
};

/// What Exif, IPTC and XMP data and the header tell about a picture; empty for other files. The library may fail in any
/// way on a malformed file: call it in a worker process only.
PictureDetails ReadPictureDetails(MediumSource& picture, bool withPreview);

}  // namespace salvor
