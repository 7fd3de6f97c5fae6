#pragma once

#include <cstdint>
#include <optional>

#include "frame/scan/WalkingScanner.h"

/// GIMP pictures: a tree of layers, channels and paths, each part written behind the one before. Source: GIMP
/// developer documentation, XCF file format.
class KXCFFileType final : public WalkingScanner<KXCFFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Xcf];
    static constexpr auto Signature = PatternOf("gimp xcf ");
    static constexpr std::size_t MinSectorBytes = 30;
    static constexpr std::int64_t MinReportLength = 256;
    /// Large pictures pass the cap.
    static constexpr std::int64_t WalkLimit = std::int64_t{1} << 36;

    static bool IsHeader(ByteSpan sector);
    static std::optional<std::int64_t> Walk(FileWindow& file);
};
