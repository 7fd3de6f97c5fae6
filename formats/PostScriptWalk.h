#pragma once

#include <cstdint>
#include <optional>

#include "frame/bytes/ByteWindow.h"
#include "frame/bytes/Bytes.h"

/// How far a PostScript document with structure comments reaches. Source: Adobe, PostScript Language Document
/// Structuring Conventions 3.0.
struct PostScriptExtent {
    /// The end of the comment that ends it, or of the trailer's text if there is none.
    std::optional<std::int64_t> end;
    /// Where the walk stopped at a byte that is not text, outside data of a declared length.
    std::optional<std::int64_t> binaryAt;
    /// The comment that ends it is there.
    bool isClosed = false;
};

/// `%!PS-Adobe-2.0` and 3.0, alone on the line or followed by the EPSF version.
bool IsPostScriptHeader(ByteSpan sector);

/// True if the comments before any placed document name Illustrator.
bool IsIllustratorDrawing(ByteWindow& file);

/// `sectorSize` in bytes: a header at a sector's start begins another document unless it is placed in this one. With
/// `endsAtBinary`, bytes that are not text end it before the trailer too; some documents hold raw image data as they
/// are.
PostScriptExtent FindPostScriptEnd(ByteWindow& file, std::int64_t sectorSize, bool endsAtBinary);
