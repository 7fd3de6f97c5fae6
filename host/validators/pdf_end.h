#pragma once

#include <cstdint>

#include "frame/bytes/ByteWindow.h"

namespace salvor {

/// The end of a PDF in bytes from its start, where `size` includes its last mark and all white space after it. The
/// white space belongs to the file if zeros follow or the medium ends; otherwise only line ends of one kind do. Lines
/// that begin with `%%` belong to it too.
std::int64_t EndOfPdf(ByteWindow& file, std::int64_t size);

/// False if the last `startxref` of a PDF of `size` bytes leads to no cross-reference section or stream: bytes in
/// between are then missing or belong to others. Offsets that are a little too large, as after a change of line ends,
/// count as right.
bool LeadsToCrossReference(ByteWindow& file, std::int64_t size);

/// True if a PDF of `size` bytes was saved as a drawing: PDF documents that Illustrator saves keep their drawing under
/// another key, or none.
bool IsSavedAsDrawing(ByteWindow& file, std::int64_t size);

}  // namespace salvor
