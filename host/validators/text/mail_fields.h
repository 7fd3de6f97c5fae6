#pragma once

#include <cstddef>

#include "frame/bytes/Bytes.h"

namespace salvor {

/// Bytes of the name and the colon with which a line of a letter's head begins (RFC 5322); 0 if no field begins here.
std::size_t FieldNameLength(ByteSpan line);

/// Is it a field that letters and articles have, in any letter case? `name` has the colon.
bool IsKnownField(ByteSpan name);

/// The line up to its end, without what ends it, and the bytes with that.
struct TextLine {
    ByteSpan text;
    std::size_t length;
    /// False where the bytes end first.
    bool hasEnd;
};
TextLine FirstLineOf(ByteSpan bytes);

/// True if a letter begins here: nothing but fields, two known ones among them, as far as the head is shown. A line of
/// a mailbox, "From ...", may stand in front.
bool BeginsLetter(ByteSpan head);

}  // namespace salvor
