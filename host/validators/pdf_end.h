#pragma once

#include <cstdint>

#include "frame/bytes/ByteWindow.h"

namespace salvor {

/// Where a PDF ends whose last mark and all white space behind it end at `size`, in bytes from its start. The white
/// space is the file's where zeros follow or the medium ends; elsewhere only line ends of one kind are.
std::int64_t EndOfPdf(ByteWindow& file, std::int64_t size);

}  // namespace salvor
