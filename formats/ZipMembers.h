#pragma once

#include <cstdint>
#include <optional>

#include "frame/bytes/ByteWindow.h"

/// Steps along the records of a ZIP archive. Offsets are in bytes from the file's start. Only bytes that are read are
/// checked to lie before the window's limit.

/// The 4 bytes there, little-endian; 0, which is no signature, where they cannot be read.
std::uint32_t ZipSignatureAt(ByteWindow& file, std::int64_t offset);

/// The end of the descriptor after the data at `start`, if nothing else tells the data's size. It lies before `limit`;
/// its signature is optional, and its sizes have 64 bits where `isLong`. Nothing if there is none, or if there are so
/// many marks of records that this is not one member.
std::optional<std::int64_t> EndOfDescribedZipData(ByteWindow& file, std::int64_t start, std::int64_t limit,
                                                  bool isLong = false);

/// The end of the central header at `start`, with its name, extra field and comment.
std::optional<std::int64_t> EndOfZipEntry(ByteWindow& file, std::int64_t start);
