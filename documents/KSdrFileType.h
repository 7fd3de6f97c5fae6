#pragma once

#include <cstdint>
#include <optional>

#include "frame/scan/WalkingScanner.h"

/// SmartDraw drawings: record by record to the end of the file's own group. Source: PRONOM fmt/623; the records were
/// worked out from files.
class KSdrFileType final : public WalkingScanner<KSdrFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Sdr];
    static constexpr auto Signature = PatternOf("SMARTDRW\x01\x80");
    static constexpr std::int64_t MinReportLength = 256;
    /// Drawings with photographs exceed the cap, but their end is known.
    static constexpr std::int64_t WalkLimit = 0x10000000;

    static bool IsHeader(ByteSpan sector);
    static std::optional<std::int64_t> Walk(FileWindow& file);
};
