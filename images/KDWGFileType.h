#pragma once

#include <cstdint>

#include "formats/PictureWalks.h"
#include "images/FormatScanner.h"

/// AutoCAD drawings. The header gives the place of the last section, in one of four ways depending on the release.
/// Source: Open Design Specification for .dwg files 5.4.1.
class KDWGFileType final : public FormatScanner<KDWGFileType, DwgDrawing> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Dwg];
    static constexpr auto Signature = PatternOf("AC");
    static constexpr std::size_t MinSectorBytes = 128;
    static constexpr std::int64_t MinReportLength = 256;
    static constexpr std::int64_t WalkLimit = Identity.maxSize;
};
