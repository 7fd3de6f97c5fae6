#pragma once

#include <cstdint>

#include "frame/bytes/ByteWindow.h"

namespace salvor {

/// The end of a PDF in bytes from its start, where `size` includes its last mark and all white space after it. The
/// white space belongs to the file if zeros follow or the medium ends; otherwise only line ends of one kind do.
std::int64_t EndOfPdf(ByteWindow& file, std::int64_t size);

}  // namespace salvor
