#pragma once

#include <cstdint>
#include <optional>

#include "host/validate/place.h"

namespace salvor {

/// Do these bytes begin a tag that stands in front of sound: ID3 version 2, or APE?
bool IsTagStart(ByteSpan head);

/// Bytes of the tag of such a kind that begins at `offset`; 0 if none does. It may pass the medium's end.
std::int64_t TagBytesAt(ByteWindow& file, std::int64_t offset);

/// Behind the tags that stand one behind another at `offset`, or `offset` itself: ID3 of both versions, APE and
/// Lyrics3. A tag at a sector's start that stands in front of sound belongs to the next file, unless all tags do so
/// (`offset` is 0).
/// Source: ID3 tag version 2.4.0; ID3v1; APE tag version 2; Lyrics3 version 2.00.
std::int64_t EndOfTags(Place& file, std::int64_t offset);

/// The first place between two offsets where a tag begins that stands behind sound. Stricter than the others, for
/// places that nothing else marks.
std::optional<std::int64_t> FindEndTag(Place& file, std::int64_t from, std::int64_t to);

}  // namespace salvor
