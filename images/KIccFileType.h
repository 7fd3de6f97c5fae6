#pragma once

#include <cstdint>
#include <optional>

#include "frame/scan/WalkingScanner.h"

/// ICC colour profiles: the header gives the length, and the tag table must agree with it. Sources: ICC.1:2022; ICC.2.
class KIccFileType final : public WalkingScanner<KIccFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[86];
    static constexpr FormatNotes Notes{
        .source = "ICC.1:2022, Image technology colour management; ICC.2 (iccMAX)",
        .found = "Colour profiles of versions 1 to 5 and of every class.",
        .end = "The size in the header; exact.",
        .limits = "A profile with more than 100 tags is not found, nor is one whose tag table is damaged."};
    static constexpr SectorFilter Filter = SectorFilterOf(PatternOf("acsp"), 36);
    static constexpr std::int64_t MinReportLength = 256;
    /// The header and the longest tag table.
    static constexpr std::int64_t WalkLimit = 132 + 100 * 12;

    static bool IsHeader(ByteSpan sector);
    static std::optional<std::int64_t> Walk(FileWindow& file);
};
