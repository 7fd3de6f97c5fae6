#pragma once

#include <cstdint>

#include "formats/PictureWalks.h"
#include "images/FormatScanner.h"

/// Casio QV camera pictures. The header lists the areas that follow it. Source: QV-10 CAM Format, 1996 (unofficial).
class KCAMFileType final : public FormatScanner<KCAMFileType, CasioPicture> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Cam];
    static constexpr auto Signature = PatternOf("\x07\x20MM");
    static constexpr std::size_t MinSectorBytes = CasioPicture::LeastHead;
    static constexpr std::int64_t MinReportLength = 256;
    static constexpr std::int64_t WalkLimit = Identity.largestSize;

    KCAMFileType() { KCAMFileType::Reset(); }

    std::int32_t Reset() override {
        const std::int32_t result = FormatScanner::Reset();
        run_.maxSize = Identity.largestSize;
        return result;
    }
};
