#pragma once

#include <string>

#include "host/validators/containers/compound_file.h"

namespace salvor {

/// Looks into the streams whose own structure is cheap to follow. Gives what is wrong with them, for messages, or an
/// empty text. Finds overwritten content that the tables of a compound file cannot show. The file must be sound.
std::string CompoundContentFault(CompoundFile& file);

}  // namespace salvor
