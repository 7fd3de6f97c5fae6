#pragma once

#include <cstdint>

#include "formats/PictureWalks.h"
#include "images/FormatScanner.h"

/// GIF images and animations: block by block to the trailer. Source: CompuServe, Graphics Interchange Format, versions
/// 87a and 89a.
class KGIFFileType final : public FormatScanner<KGIFFileType, GifPicture> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Gif];
    static constexpr SectorFilter Filter = SectorFilterOf(PatternOf("GIF8"));
    static constexpr std::int64_t MinReportLength = 256;
    /// Long animations exceed the cap, but their end is known.
    static constexpr std::int64_t WalkLimit = 0x4000000;
};
