#pragma once

#include <cstdint>
#include <optional>

#include "host/validators/place.h"

namespace salvor {

/// Do these bytes begin a tag of a kind that precedes sound: ID3 version 2 or APE?
bool IsTagStart(ByteSpan head);

/// Length in bytes of such a tag at `offset`; 0 if there is none. It may pass the medium's end.
std::int64_t TagBytesAt(ByteWindow& file, std::int64_t offset);

/// The end of a row of tags at `offset`, or `offset` itself: ID3 of both versions, APE and Lyrics3. A tag at a sector's
/// start that precedes sound belongs to the next file, unless the row begins the file (`offset` is 0).
/// Source: ID3 tag version 2.4.0; ID3v1; APE tag version 2; Lyrics3 version 2.00.
std::int64_t EndOfTags(Place& file, std::int64_t offset);

/// The first place between two offsets where a tag of a kind that follows sound begins. Stricter than the other
/// functions, since nothing else marks the place.
std::optional<std::int64_t> FindEndTag(Place& file, std::int64_t from, std::int64_t to);

}  // namespace salvor
