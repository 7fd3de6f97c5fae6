#pragma once

#include <cstdint>
#include <optional>

#include "frame/bytes/ByteWindow.h"

namespace salvor {

/// CRC-32 of `bytes`, as ZIP, PNG and others use it: polynomial EDB88320h reflected, all ones at first, inverted.
std::uint32_t Crc32Of(ByteSpan bytes);

/// The same for the bytes from `from` to `to`, offsets from the file's start; nothing if not all can be shown.
std::optional<std::uint32_t> Crc32Of(ByteWindow& file, std::int64_t from, std::int64_t to);

/// The same polynomial without the ones at first and without the inversion, as Outlook uses it.
std::uint32_t PlainCrc32Of(ByteSpan bytes);
std::optional<std::uint32_t> PlainCrc32Of(ByteWindow& file, std::int64_t from, std::int64_t to);

}  // namespace salvor
