#pragma once

#include <cstdint>

#include "formats/PictureWalks.h"
#include "images/FormatScanner.h"

/// Maya scenes in their binary form: nested groups as in IFF, with 32-bit or, since 2014, 64-bit lengths. Source:
/// Autodesk, Maya IFF reference.
class KMbFileType final : public FormatScanner<KMbFileType, MayaScene> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Mb];
    /// "FOR4" or "FOR8".
    static constexpr SectorFilter Filter = SectorFilterOf(PatternOf("FOR"));
    static constexpr std::int64_t MinReportLength = 256;
    /// Production scenes far exceed the cap.
    static constexpr std::int64_t WalkLimit = std::int64_t{1} << 38;
};
