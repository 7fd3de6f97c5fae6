#pragma once

#include <cstdint>
#include <optional>

#include "frame/scan/WalkingScanner.h"

/// Maya scenes in their binary form: nested groups in the manner of IFF, with 32-bit or, since 2014, 64-bit lengths.
/// Source: Autodesk, Maya IFF reference.
class KMbFileType final : public WalkingScanner<KMbFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[88];
    static constexpr FormatNotes Notes{.source = "Autodesk, Maya IFF reference",
                                       .found = "Binary scenes with 32-bit and with 64-bit lengths.",
                                       .end = "The length of the outermost group; exact.",
                                       .limits = ""};
    /// "FOR4" or "FOR8".
    static constexpr SectorFilter Filter = SectorFilterOf(PatternOf("FOR"));
    static constexpr std::int64_t MinReportLength = 256;
    /// Production scenes pass the cap by far.
    static constexpr std::int64_t WalkLimit = std::int64_t{1} << 38;

    static bool IsHeader(ByteSpan sector);
    static std::optional<std::int64_t> Walk(FileWindow& file);
};
