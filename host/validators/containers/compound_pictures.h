#pragma once

#include <cstdint>

#include "frame/bytes/ByteWindow.h"

namespace salvor {

/// Is the picture in a drawing's record of `type` sound? It is between `from` and `to`, in bytes of the stream. PNG is
/// checked by its chunks' checksums, JPEG by the marks in its data, metafiles by unpacking; others count as sound.
/// Source: [MS-ODRAW], sections 2.2.23 to 2.2.31.
bool IsDrawnPictureRight(ByteWindow& stream, std::uint16_t type, std::uint16_t instance, std::int64_t from,
                         std::int64_t to);

/// The same for a picture whose kind shows only in its own bytes; anything but PNG and JPEG counts as sound.
bool IsPictureRight(ByteWindow& stream, std::int64_t from, std::int64_t to);

}  // namespace salvor
