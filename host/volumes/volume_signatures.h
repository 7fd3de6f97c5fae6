#pragma once

#include <cstdint>
#include <string>

#include "host/medium/medium.h"

namespace salvor {

/// What begins at a sector of the medium by its signature, of the kinds that are carved as a stream: "LUKS"; empty for
/// anything else.
std::string NameBySignature(Medium& medium, std::int64_t sector);

}  // namespace salvor
