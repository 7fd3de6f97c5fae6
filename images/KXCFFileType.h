#pragma once

#include <cstdint>

#include "formats/PictureWalks.h"
#include "images/FormatScanner.h"

/// GIMP pictures: a tree of layers, channels and paths, stored in the order of the tree. Source: GIMP developer
/// documentation, XCF file format.
class KXCFFileType final : public FormatScanner<KXCFFileType, XcfPicture> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Xcf];
    static constexpr auto Signature = PatternOf("gimp xcf ");
    static constexpr std::size_t MinSectorBytes = 30;
    static constexpr std::int64_t MinReportLength = 256;
    /// Large pictures exceed the cap.
    static constexpr std::int64_t WalkLimit = std::int64_t{1} << 36;
};
