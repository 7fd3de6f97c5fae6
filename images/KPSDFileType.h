#pragma once

#include <cstdint>

#include "formats/PictureWalks.h"
#include "images/FormatScanner.h"

/// Photoshop pictures, which end with the merged picture of all layers. Source: Adobe Photoshop File Formats
/// Specification, "Photoshop File Format".
class KPSDFileType final : public FormatScanner<KPSDFileType, PsdPicture> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Psd];
    static constexpr auto Signature = PatternOf("8BPS");
    /// The header and the length of the colour mode data.
    static constexpr std::size_t MinSectorBytes = 30;
    static constexpr std::int64_t MinReportLength = 256;
    /// Large documents far exceed the cap.
    static constexpr std::int64_t WalkLimit = std::int64_t{1} << 38;
};
