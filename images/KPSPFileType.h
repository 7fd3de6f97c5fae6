#pragma once

#include <cstdint>

#include "formats/PictureWalks.h"
#include "images/FormatScanner.h"

/// Paint Shop Pro pictures: a sequence of blocks. Source: Jasc Software, Paint Shop Pro File Format Documentation.
class KPSPFileType final : public FormatScanner<KPSPFileType, PspPicture> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Psp];
    static constexpr auto Signature = PatternOf("Paint Shop Pro Image File\n\x1A\0\0\0\0\0");
    /// The file's header and that of the first block.
    static constexpr std::size_t MinSectorBytes = 46;
    static constexpr std::int64_t MinReportLength = 256;
    static constexpr std::int64_t WalkLimit = Identity.maxSize;
};
