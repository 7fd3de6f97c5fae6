#pragma once

#include <cstdint>
#include <vector>

#include "host/details/file_details.h"
#include "host/medium/medium_source.h"

namespace salvor {

/// The largest preview that is taken out of a file, in bytes.
inline constexpr std::int64_t MostPreviewBytes = std::int64_t{512} << 10;

struct PictureDetails {
    FileDetails known;
    /// A JPEG picture; empty if the file has none that is small enough.
    std::vector<std::uint8_t> preview;
};

/// What a picture says of itself in Exif, IPTC and XMP data and in its own header; nothing for another file. Malformed
/// pictures may make it fail in any way that a library may, so it belongs into a worker process.
PictureDetails ReadPictureDetails(MediumSource& picture, bool withPreview);

}  // namespace salvor
