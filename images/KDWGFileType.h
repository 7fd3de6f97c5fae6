#pragma once

#include <cstdint>
#include <optional>

#include "frame/scan/WalkingScanner.h"

/// AutoCAD drawings. The place of the last section stands in the header, in one of four ways that the releases differ
/// in. Source: Open Design Specification for .dwg files 5.4.1.
class KDWGFileType final : public WalkingScanner<KDWGFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Dwg];
    static constexpr auto Signature = PatternOf("AC");
    static constexpr std::size_t MinSectorBytes = 128;
    static constexpr std::int64_t MinReportLength = 256;
    static constexpr std::int64_t WalkLimit = Identity.maxSize;

    static bool IsHeader(ByteSpan sector);
    static std::optional<std::int64_t> Walk(FileWindow& file);
};
