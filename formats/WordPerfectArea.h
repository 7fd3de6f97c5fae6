#pragma once

#include <cstdint>
#include <optional>

#include "frame/bytes/ByteWindow.h"

/// The sets of function codes that documents are written in.
enum class WordPerfectCodes : std::uint8_t { Release5, Release6, Macintosh };

/// Where an area ends behind which foreign bytes follow in the middle of a sector.
enum class WordPerfectEnd : std::uint8_t {
    /// With the sector in front.
    Sector,
    /// With the last text or function in front of them.
    Text,
};

/// Offset behind the last byte of the document area that begins at `start`, for files that do not tell their length.
///
/// The area has no end mark: it ends in front of zeros, at the header of another document, or at the sector where bytes
/// begin that are no functions although their codes say so. Nothing if it holds hardly any text.
std::optional<std::int64_t> WordPerfectAreaEnd(ByteWindow& file, WordPerfectCodes codes, std::int64_t start,
                                               WordPerfectEnd end);
