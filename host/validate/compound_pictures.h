#pragma once

#include <cstdint>

#include "frame/bytes/ByteWindow.h"

namespace salvor {

/// Is the picture right that a drawing's record of `type` holds, from `from` to `to` in bytes of the stream? PNG by the
/// sums of its chunks, JPEG by the marks in its data, metafiles by unpacking; others are taken to be. Source:
/// [MS-ODRAW], sections 2.2.23 to 2.2.31.
bool IsDrawnPictureRight(ByteWindow& stream, std::uint16_t type, std::uint16_t instance, std::int64_t from,
                         std::int64_t to);

/// The same for bytes that say themselves what they are: a picture that is no PNG and no JPEG is taken to be right.
bool IsPictureRight(ByteWindow& stream, std::int64_t from, std::int64_t to);

}  // namespace salvor
