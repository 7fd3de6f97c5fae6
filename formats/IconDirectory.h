#pragma once

#include <cstdint>
#include <optional>

#include "frame/bytes/ByteWindow.h"

/// The directory that icon and cursor files share: its entries and the images they point to. Source: Microsoft, Icons
/// in Win32.
namespace IconDirectory {

enum class Kind : std::uint16_t { Icon = 1, Cursor = 2 };

/// Whether the sector begins with a directory of this kind. Only its first entry is checked.
bool IsHeader(ByteSpan sector, Kind kind);

/// The file's length in bytes: the end of its last image, at most the file window's limit. Tables of small numbers look
/// much like a directory, so every entry must fit and every image must begin as its entry says.
std::optional<std::int64_t> Measure(ByteWindow& file, Kind kind);

}  // namespace IconDirectory
