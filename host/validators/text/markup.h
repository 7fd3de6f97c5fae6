#pragma once

#include <cstdint>
#include <string_view>

#include "formats/MarkupReader.h"
#include "host/validators/place.h"

namespace salvor {

/// True if the first byte of a head, after a byte-order mark and white space, opens a tag or a declaration.
bool BeginsWithMarkup(ByteSpan head);

/// Where a document of markup ends whose last mark ends at `end`: after its white space where zeros follow or the
/// medium ends, else after the line ends of its own kind. Text that begins with `appendix`, where that is not empty,
/// and goes on before zeros, in the same page of 4 KiB, was appended to it; other text is a stranger's.
std::int64_t EndOfDocument(Place& file, MarkupReader& text, std::int64_t end, std::u16string_view appendix = {});

}  // namespace salvor
