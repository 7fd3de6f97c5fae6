#pragma once

#include <cstdint>
#include <optional>

#include "frame/scan/WalkingScanner.h"

/// SmartDraw drawings: record by record to the end of the file's own group. Source: PRONOM fmt/623; the records are
/// read off files.
class KSdrFileType final : public WalkingScanner<KSdrFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[102];
    static constexpr FormatNotes Notes{
        .source = "PRONOM fmt/623",
        .found = "Drawings, templates and libraries of SmartDraw, which share a container.",
        .end =
            "The record that ends the file; exact. A damaged file ends with its last sound record, once its header "
            "is whole.",
        .limits = ""};
    static constexpr auto Signature = PatternOf("SMARTDRW\x01\x80");
    static constexpr std::int64_t MinReportLength = 256;
    /// Drawings with photographs are larger than the cap; their end is known all the same.
    static constexpr std::int64_t WalkLimit = 0x10000000;

    static bool IsHeader(ByteSpan sector);
    static std::optional<std::int64_t> Walk(FileWindow& file);
};
