#pragma once

#include <cstdint>
#include <optional>

#include "frame/bytes/ByteWindow.h"

/// The sets of function codes that documents use.
enum class WordPerfectCodes : std::uint8_t { Release5, Release6, Macintosh };

/// Where an area ends if foreign bytes begin in the middle of a sector.
enum class WordPerfectEnd : std::uint8_t {
    /// At the end of the sector before.
    Sector,
    /// After the last text or function before them.
    Text,
};

/// The end of the document area that begins at `start`, for files without a length.
///
/// The area has no end mark. It ends before zeros, at another document's header, or at the sector where bytes stop
/// making valid functions. Nothing if there is hardly any text in it.
std::optional<std::int64_t> WordPerfectAreaEnd(ByteWindow& file, WordPerfectCodes codes, std::int64_t start,
                                               WordPerfectEnd end);
