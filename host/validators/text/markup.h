#pragma once

#include <cstdint>
#include <string_view>

#include "formats/MarkupReader.h"
#include "host/validators/finding.h"
#include "host/validators/place.h"

namespace salvor {

/// True if the first byte of a head, after a byte-order mark and white space, opens a tag or a declaration.
bool BeginsWithMarkup(ByteSpan head);

/// The end of a markup document whose last mark ends at `end`: after its white space if zeros follow or the medium
/// ends, else after the line ends of its own kind. Text that begins with `appendix` (if not empty) and ends before
/// zeros in the same 4 KiB page was appended to it; other text is foreign.
std::int64_t EndOfDocument(Place& file, MarkupReader& text, std::int64_t end, std::u16string_view appendix = {});

/// The same for XML and JSON. They hardly ever end with an empty line, so that one that text follows belongs to that.
std::int64_t EndOfData(Place& file, MarkupReader& text, std::int64_t end);

/// The same for a message. Text may follow its last mark (RFC 2046, section 5.1.1); where the slack of files is clean,
/// it is the message's own.
std::int64_t EndOfMessage(Place& file, std::int64_t end);

/// A document that lacks its end mark: text as far as it goes, truncated or damaged by what comes after it.
Finding UnclosedText(Place& file, std::int32_t type, const char* extension, const char* why);

/// True if the next bytes are text of one byte a character, or UTF-8.
bool IsTextAt(Place& file, std::int64_t at);

}  // namespace salvor
