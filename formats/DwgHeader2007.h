#pragma once

#include <cstdint>
#include <optional>

#include "frame/bytes/Bytes.h"

/// Bytes of the encoded header, which is at 80h in a drawing of release 2007.
inline constexpr std::size_t DwgHeader2007Bytes = 0x3D8;

/// The facts about the file in the header of a release 2007 drawing.
struct DwgHeader2007 {
    /// The header's own size in bytes.
    std::int64_t headerBytes;
    std::int64_t fileSize;
    /// Where the second copy of the header is, in bytes from the end of the first.
    std::int64_t secondHeader;
};

/// Strips the error-correcting code without checking it, and decompresses the part of the header that has these fields.
/// Nothing if the compressed data are damaged. Source: Open Design Specification for .dwg files 5.4.1, "R2007 DWG File
/// Format Organization".
std::optional<DwgHeader2007> DecodeDwgHeader2007(ByteSpan encoded);
