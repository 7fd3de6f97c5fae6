#pragma once

#include <string>

#include "host/validators/containers/compound_file.h"

namespace salvor {

/// Looks into the streams whose own structure is cheap to follow: what is wrong with them, for people, or an empty
/// text. Finds overwritten insides that the tables of a compound file cannot tell. The file is sound.
std::string CompoundContentFault(CompoundFile& file);

}  // namespace salvor
