#pragma once

#include "host/validators/place.h"

namespace salvor {

// Does a document with a validator of its own begin here? Then the plain text validator leaves the place to that one,
// even if the document is broken. Each function is defined beside its validator.

bool IsBookmarkFile(Place& file);
bool IsPage(Place& file);
bool IsXmlDocument(Place& file);
bool IsLetter(Place& file);
bool IsRichText(ByteSpan head);
bool IsCard(ByteSpan head);

/// The extension of a text that begins as PostScript, with or without comments that tell its structure; empty if it
/// does not.
const char* PostScriptExtension(ByteSpan head);

}  // namespace salvor
