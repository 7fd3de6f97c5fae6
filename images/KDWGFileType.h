#pragma once

#include <cstdint>
#include <optional>

#include "frame/scan/WalkingScanner.h"

/// AutoCAD drawings. The place of the last section stands in the header, in one of four ways that the releases differ
/// in. Source: Open Design Specification for .dwg files 5.4.1.
class KDWGFileType final : public WalkingScanner<KDWGFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[36];
    static constexpr FormatNotes Notes{
        .source = "Open Design Specification for .dwg files 5.4.1",
        .found = "Drawings of release 2.1 to 2018 and later.",
        .end =
            "The header: the furthest section, the second copy of the header, or the file's size, whichever the "
            "release gives; exact.",
        .limits =
            "Drawings of releases before 2.1 are not found. What a signed drawing may carry behind its end is "
            "left out."};
    static constexpr auto Signature = PatternOf("AC");
    static constexpr std::size_t MinSectorBytes = 128;
    static constexpr std::int64_t MinReportLength = 256;
    static constexpr std::int64_t WalkLimit = Identity.maxSize;

    static bool IsHeader(ByteSpan sector);
    static std::optional<std::int64_t> Walk(FileWindow& file);
};
