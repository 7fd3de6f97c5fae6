#pragma once

#include <cstdint>

#include "formats/PictureWalks.h"
#include "images/FormatScanner.h"

/// Windows metafiles, with and without the header that makes them placeable: record by record to the end record.
/// Sources: [MS-WMF]; Placeable Metafiles.
class KWmfFileType final : public FormatScanner<KWmfFileType, WmfDrawing> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Wmf];
    /// The placeable header's key, or a standard header's type, 1 or 2, and length in words.
    static constexpr AnySectorFilter Filter{
        SectorFilterOf(PatternOf("\xD7\xCD\xC6\x9A")),
        SectorFilterOf(PatternOf("\1\0\x09\0")).Common(SectorFilterOf(PatternOf("\2\0\x09\0")))};
    static constexpr std::int64_t MinReportLength = 256;
    /// Metafiles with large bitmaps exceed the cap, but their end is known.
    static constexpr std::int64_t WalkLimit = 0x4000000;
};
