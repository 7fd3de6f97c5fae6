#pragma once

#include <cstdint>

#include "frame/bytes/ByteWindow.h"

namespace salvor {

/// False if a deflated stream of a PDF of `size` bytes does not unpack: bytes of it belong to others, or are missing.
/// Streams of other filters have no checksum and count as right, as do those of encrypted documents, of documents in
/// which no stream unpacks, and what is left once much was unpacked. Source: ISO 32000-2, 7.3.8 and 7.4.4.
bool DoStreamsUnpack(ByteWindow& file, std::int64_t size);

}  // namespace salvor
