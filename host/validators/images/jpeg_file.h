#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "frame/bytes/ByteWindow.h"

namespace salvor {

/// A JPEG from its first marker to its last. Source: ITU-T T.81, annex B.
struct JpegWalk {
    enum class End : std::uint8_t {
        /// An end of image that closes a picture.
        Marker,
        /// A marker is missing where one is required.
        NoMarker,
        /// The JPEG goes on beyond the limit.
        Limit,
    };
    End end = End::NoMarker;
    /// The offset after the end of image, or where it broke.
    std::int64_t size = 0;
    /// Segments before the first scan.
    int segments = 0;
    /// There was a frame header and a scan.
    bool hasPicture = false;
    /// The first segment is of the kind that cameras write.
    bool isExif = false;
    /// The offset at which the coded data are wrong, in bytes from the start.
    std::optional<std::int64_t> brokenData = std::nullopt;
    /// The start of the scan with the wrong data, else of the last scan.
    std::int64_t lastScan = 0;

    /// The pictures that a multi-picture index lists after this one.
    struct Extent {
        std::int64_t start;
        std::int64_t length;
    };
    std::vector<Extent> furtherPictures = {};
    /// The packet of Adobe's metadata, if it is short.
    std::string metadata = {};
};

/// Does a JPEG begin here? A legal first segment must follow the start of image.
bool BeginsJpeg(ByteSpan head);

/// Walks the JPEG that begins at `start`; offsets in the result count from the file's start.
JpegWalk WalkJpeg(ByteWindow& file, std::int64_t start);

}  // namespace salvor
