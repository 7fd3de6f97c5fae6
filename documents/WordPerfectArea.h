#pragma once

#include <cstdint>
#include <optional>

#include "frame/read/FileWindow.h"

/// The sets of function codes that documents are written in.
enum class WordPerfectCodes : std::uint8_t { Release5, Release6, Macintosh };

/// Offset behind the last byte of the document area that begins at `start`, for files that do not tell their length.
///
/// The area has no end mark: it ends in front of zeros, at the header of another document, or at the sector where bytes
/// begin that are no functions although their codes say so. Nothing if it holds hardly any text.
std::optional<std::int64_t> WordPerfectAreaEnd(FileWindow& file, WordPerfectCodes codes, std::int64_t start);
