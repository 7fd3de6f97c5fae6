#pragma once

#include <cstddef>

#include "frame/bytes/Bytes.h"
#include "host/validators/text/text_bytes.h"

namespace salvor {

/// What is wanted of the bytes before a sector.
inline constexpr std::size_t PreviousTailBytes = 64;

/// Does another file begin with `head`, right after `tail`, in the middle of a text? The slack after a file is often
/// the rest of another text. Only signs that are rare inside a text count, since the start of a line proves nothing.
bool BreaksIntoText(ByteSpan tail, ByteSpan head);

/// Most files begin with a capital letter, a bracket or the mark of a comment.
bool BeginsLikeFile(ByteSpan head);

/// Is the first line of these bytes, which are text, made of words alone? Ten bytes of them never are by chance.
bool IsWordLine(ByteSpan text);

/// What `MayBeginText` asks where the first byte leaves it open.
bool BeginsText(ByteSpan previousTail, ByteSpan sector);

/// Could a text of any kind begin with this sector, rather than go on from the one before it? Asked of every
/// sector: whoever says yes has the validators of text look at it. `previousTail` are the bytes in front, up to
/// `PreviousTailBytes`; none at the medium's start.
inline bool MayBeginText(ByteSpan previousTail, ByteSpan sector) {
    return !sector.empty() && !IsControlByte(sector[0]) && BeginsText(previousTail, sector);
}

}  // namespace salvor
