#pragma once

#include <cstdint>
#include <optional>

#include "frame/scan/WalkingScanner.h"

/// SmartDraw drawings: record by record to the end of the file's own group. Source: PRONOM fmt/623; the records are
/// read off files.
class KSdrFileType final : public WalkingScanner<KSdrFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Sdr];
    static constexpr auto Signature = PatternOf("SMARTDRW\x01\x80");
    static constexpr std::int64_t MinReportLength = 256;
    /// Drawings with photographs are larger than the cap; their end is known all the same.
    static constexpr std::int64_t WalkLimit = 0x10000000;

    static bool IsHeader(ByteSpan sector);
    static std::optional<std::int64_t> Walk(FileWindow& file);
};
