#pragma once

#include <cstdint>

#include "formats/ZipRecords.h"
#include "frame/bytes/Bytes.h"

/// What the two ZIP engines and their types share. Source: PKWARE, APPNOTE.TXT, sections 4.3.6 to 4.3.16.

/// What is packed: the kinds by which the engines sort their finds and the types ask for them.
struct ZipKind {
    /// Also: not decided yet.
    static constexpr std::int32_t Plain = 0;
    /// Office Open XML.
    static constexpr std::int32_t Word = 1;
    static constexpr std::int32_t Excel = 2;
    static constexpr std::int32_t PowerPoint = 3;
    /// OpenDocument.
    static constexpr std::int32_t Text = 4;
    static constexpr std::int32_t Sheet = 5;
    static constexpr std::int32_t Presentation = 6;
    static constexpr std::int32_t Drawing = 7;
    static constexpr std::int32_t DataBase = 8;
    static constexpr std::int32_t Jar = 9;
    static constexpr std::int32_t Formula = 10;
    static constexpr std::int32_t PocketExcel = 11;
};

/// A shorter file is not reported, in bytes.
inline constexpr std::int64_t ZipMinReportLength = 256;
/// The engines' limit on a file, in bytes.
inline constexpr std::int64_t ZipMaxSize = 0x20000000;

/// True if a local file header begins at the start of the sector, which has more than 50 bytes.
inline bool OpensZipMember(ByteSpan sector) {
    return sector.size() > 50 && LoadLittle<std::uint32_t>(sector, 0) == ZipSignature::LocalHeader;
}
