#pragma once

#include <cstdint>

#include "formats/PictureWalks.h"
#include "images/FormatScanner.h"

/// openCanvas pictures: a row of chunks, the first of which is OPIM. No document describes the format.
class KOciFileType final : public FormatScanner<KOciFileType, OciPicture> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Oci];
    static constexpr auto Signature = OciPicture::Signature;
    static constexpr std::int64_t MinReportLength = 256;
    /// Large canvases pass the cap.
    static constexpr std::int64_t WalkLimit = std::int64_t{1} << 32;
};
