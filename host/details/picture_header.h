#pragma once

#include "host/medium/medium_source.h"
#include "host/plan/file_details.h"

namespace salvor {

/// Adds what the first bytes of a picture tell, for formats that the picture library does not know or misreads: pixels
/// of GIF, early BMP, XCF, PCX, X3F, icons and cursors, and pixels, title and date of PSP.
void TakeHeaderDetails(MediumSource& picture, FileDetails& details);

}  // namespace salvor
