#pragma once

#include <cstdint>

#include "formats/PictureWalks.h"
#include "images/FormatScanner.h"

/// openCanvas pictures: a sequence of chunks that starts with OPIM. The format is not documented.
class KOciFileType final : public FormatScanner<KOciFileType, OciPicture> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Oci];
    static constexpr auto Signature = OciPicture::Signature;
    static constexpr std::int64_t MinReportLength = 256;
    /// Large canvases exceed the cap.
    static constexpr std::int64_t WalkLimit = std::int64_t{1} << 32;
};
