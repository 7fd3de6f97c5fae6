#pragma once

#include <cstddef>

#include "frame/bytes/Bytes.h"

namespace salvor {

/// Length in bytes of the field name and colon with which a header line of a message begins (RFC 5322); 0 if no field
/// begins here.
std::size_t FieldNameLength(ByteSpan line);

/// True for a field that messages and articles have, in any letter case. `name` includes the colon.
bool IsKnownField(ByteSpan name);

/// A line without its line end, and its bytes with it.
struct TextLine {
    ByteSpan text;
    std::size_t length;
    /// False if the bytes end first.
    bool hasEnd;
};
TextLine FirstLineOf(ByteSpan bytes);

/// True if a message begins here: only fields, at least two of them known, as far as the header is shown. A mailbox's
/// "From ..." line may come first.
bool BeginsLetter(ByteSpan head);

}  // namespace salvor
