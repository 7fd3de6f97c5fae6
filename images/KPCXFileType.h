#pragma once

#include <cstdint>

#include "formats/PictureWalks.h"
#include "images/FormatScanner.h"

/// PCX pictures. Nothing marks their end, so the run length code is decoded until the picture is complete; the header's
/// small numbers are believed only if that comes out. The few pictures that are not in that code must have a header
/// without rubbish. Source: ZSoft, PCX File Format Technical Reference Manual.
class KPCXFileType final : public FormatScanner<KPCXFileType, PcxPicture> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Pcx];
    /// The signature byte, the version, encoding 1 or none, the bits of a pixel.
    static constexpr SectorFilter Filter{PatternOf("\x0A\0\0\0"), PatternOf("\xFF\0\xFE\0"), 0};
    static constexpr std::int64_t MinReportLength = 256;
    static constexpr std::int64_t WalkLimit = Identity.maxSize;
};
