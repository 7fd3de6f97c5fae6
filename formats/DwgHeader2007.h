#pragma once

#include <cstdint>
#include <optional>

#include "frame/bytes/Bytes.h"

/// Bytes of the encoded header, which stands at 80h in a drawing of release 2007.
inline constexpr std::size_t DwgHeader2007Bytes = 0x3D8;

/// What the header of a drawing of release 2007 says of the file.
struct DwgHeader2007 {
    /// The header's own size in bytes.
    std::int64_t headerBytes;
    std::int64_t fileSize;
    /// Where the second copy of the header stands, in bytes from the end of the first.
    std::int64_t secondHeader;
};

/// Takes the header out of its error-correcting code, unchecked, and decompresses as much of it as these fields need;
/// nothing where the compressed data are wrong. Source: Open Design Specification
/// for .dwg files 5.4.1, "R2007 DWG File Format Organization".
std::optional<DwgHeader2007> DecodeDwgHeader2007(ByteSpan encoded);
