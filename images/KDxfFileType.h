#pragma once

#include <cstdint>

#include "formats/PictureWalks.h"
#include "frame/bytes/BytePairs.h"
#include "images/FormatScanner.h"

/// AutoCAD's exchange format: pairs of a group code and a value, as lines of text or in binary. Source: Autodesk, DXF
/// Reference, releases 12 to 2018.
class KDxfFileType final : public FormatScanner<KDxfFileType, DxfDrawing> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Dxf];
    /// A line with a code, "AutoCAD Binary DXF", or a byte-order mark.
    static constexpr BytePairs Filter =
        BytePairs().Allow(" \t09", [](std::uint8_t byte) { return byte < 0x80; }).Allow("A", 'u').Allow("\xEF", 0xBB);
    static constexpr std::int64_t MinReportLength = 256;
    static constexpr std::int64_t WalkLimit = Identity.maxSize;
};
