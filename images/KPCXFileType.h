#pragma once

#include <cstdint>

#include "formats/PictureWalks.h"
#include "images/FormatScanner.h"

/// PCX pictures. Nothing marks their end, so the run length code is decoded until the picture is complete, which also
/// confirms the header. The few uncompressed pictures must have a clean header. Source: ZSoft, PCX File Format
/// Technical Reference Manual.
class KPCXFileType final : public FormatScanner<KPCXFileType, PcxPicture> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Pcx];
    /// The signature byte, the version, the encoding (0 or 1), the bits per pixel.
    static constexpr SectorFilter Filter{PatternOf("\x0A\0\0\0"), PatternOf("\xFF\0\xFE\0"), 0};
    static constexpr std::int64_t MinReportLength = 256;
    static constexpr std::int64_t WalkLimit = Identity.maxSize;
};
