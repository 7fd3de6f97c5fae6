#pragma once

#include "host/validate/place.h"

namespace salvor {

// Does a document of a kind of its own begin here? What the validator of that kind says is then all there is to say,
// even where the document is broken; each is defined beside it.

bool IsBookmarkFile(Place& file);
bool IsPage(Place& file);
bool IsXmlDocument(Place& file);
bool IsLetter(Place& file);

}  // namespace salvor
