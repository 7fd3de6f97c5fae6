#pragma once

#include "host/medium/medium_source.h"
#include "host/plan/file_details.h"

namespace salvor {

/// What the first 64 KiB of a text tell: the title of a web page, title and pixels of an SVG drawing, title and date
/// of a PostScript document; empty for other files.
FileDetails ReadTextDetails(MediumSource& document);

}  // namespace salvor
