#pragma once

#include <cstdint>
#include <optional>

#include "frame/scan/WalkingScanner.h"

/// Photoshop pictures, which end with the picture of all layers merged. Source: Adobe Photoshop File Formats
/// Specification, "Photoshop File Format".
class KPSDFileType final : public WalkingScanner<KPSDFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Psd];
    static constexpr auto Signature = PatternOf("8BPS");
    /// The header and the length of the colour mode data.
    static constexpr std::size_t MinSectorBytes = 30;
    static constexpr std::int64_t MinReportLength = 256;
    /// Large documents pass the cap by far.
    static constexpr std::int64_t WalkLimit = std::int64_t{1} << 38;

    static bool IsHeader(ByteSpan sector);
    static std::optional<std::int64_t> Walk(FileWindow& file);
};
