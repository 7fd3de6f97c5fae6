#pragma once

#include <cstdint>
#include <optional>

#include "frame/scan/WalkingScanner.h"

/// Maya scenes in their binary form: nested groups in the manner of IFF, with 32-bit or, since 2014, 64-bit lengths.
/// Source: Autodesk, Maya IFF reference.
class KMbFileType final : public WalkingScanner<KMbFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Mb];
    /// "FOR4" or "FOR8".
    static constexpr SectorFilter Filter = SectorFilterOf(PatternOf("FOR"));
    static constexpr std::int64_t MinReportLength = 256;
    /// Production scenes pass the cap by far.
    static constexpr std::int64_t WalkLimit = std::int64_t{1} << 38;

    static bool IsHeader(ByteSpan sector);
    static std::optional<std::int64_t> Walk(FileWindow& file);
};
