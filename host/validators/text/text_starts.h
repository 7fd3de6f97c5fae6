#pragma once

#include <cstddef>

#include "frame/bytes/Bytes.h"
#include "host/validators/text/text_bytes.h"

namespace salvor {

/// The number of bytes before a sector that are examined.
inline constexpr std::size_t PreviousTailBytes = 64;

/// Does another file begin with `head`, right after `tail`, in the middle of a text? The slack after a file is often
/// the rest of another text. Only signs that are rare inside a text count, since the start of a line proves nothing.
bool BreaksIntoText(ByteSpan tail, ByteSpan head);

/// Most files begin with a capital letter, a bracket or the mark of a comment.
bool BeginsLikeFile(ByteSpan head);

/// Few files begin with a small letter, except with a word of code, a name that is assigned a value, or a list of
/// names. True if these bytes, which begin with a small letter, are none of that.
bool BeginsInWord(ByteSpan head);

/// A file may begin so, as far as its first line shows.
bool MayOpenFile(ByteSpan head);

/// Does the first line of these bytes, which are text, consist of words only? Ten bytes of them never do by chance.
bool IsWordLine(ByteSpan text);

/// The same for a line of fewer bytes: in 16 GiB of random clusters, about one begins so.
bool IsShortWordLine(ByteSpan text);

/// The slower part of `MayBeginText`, for first bytes that leave it undecided.
bool BeginsText(ByteSpan previousTail, ByteSpan sector);

/// Could a text of any kind begin with this sector, rather than continue from the one before it? Tested for every
/// sector; those that pass are examined by the validators of text. `previousTail` are the bytes before it, up to
/// `PreviousTailBytes`; none at the medium's start.
inline bool MayBeginText(ByteSpan previousTail, ByteSpan sector) {
    return !sector.empty() && !IsControlByte(sector[0]) && BeginsText(previousTail, sector);
}

}  // namespace salvor
