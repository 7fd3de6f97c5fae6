#pragma once

#include <cstdint>

#include "frame/bytes/ByteWindow.h"

namespace salvor {

/// Where a PDF ends, in bytes from its start, if `size` counts its last mark and all white space behind that. The white
/// space belongs to the file where zeros follow or the medium ends; elsewhere only line ends of one kind do.
std::int64_t EndOfPdf(ByteWindow& file, std::int64_t size);

}  // namespace salvor
