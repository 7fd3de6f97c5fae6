#pragma once

#include <cstdint>
#include <optional>

#include "frame/bytes/ByteWindow.h"

/// Steps along the records of a ZIP archive. Offsets are in bytes from the file's start. Nothing is checked to lie in
/// front of the window's limit but what is read.

/// 0, which is none, where it cannot be read.
std::uint32_t ZipSignatureAt(ByteWindow& file, std::int64_t offset);

/// Behind the descriptor of data that begin at `start` and whose size only it tells, with or without its signature; it
/// lies in front of `limit`. Its sizes have 64 bits where `isLong`. Nothing if there is none, or if there are so many
/// marks of records that the data are none.
std::optional<std::int64_t> EndOfDescribedZipData(ByteWindow& file, std::int64_t start, std::int64_t limit,
                                                  bool isLong = false);

/// Behind the central header at `start`, with its name, extra field and comment.
std::optional<std::int64_t> EndOfZipEntry(ByteWindow& file, std::int64_t start);
