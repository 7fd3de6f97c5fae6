#pragma once

#include <cstdint>

#include "formats/PictureWalks.h"
#include "images/FormatScanner.h"

/// ICC colour profiles: the header gives the length, and the tag table must agree with it. Sources: ICC.1:2022; ICC.2.
class KIccFileType final : public FormatScanner<KIccFileType, IccProfile> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Icc];
    static constexpr SectorFilter Filter = SectorFilterOf(PatternOf("acsp"), 36);
    static constexpr std::int64_t MinReportLength = 256;
    /// The header and the longest tag table.
    static constexpr std::int64_t WalkLimit = 132 + 100 * 12;
};
