#pragma once

#include <cstdint>
#include <string>

#include "host/medium/medium.h"

namespace salvor {

/// The kind of volume at a sector of the medium, by its signature, among those that are carved as a stream: "LUKS".
/// Empty for anything else.
std::string NameBySignature(Medium& medium, std::int64_t sector);

}  // namespace salvor
