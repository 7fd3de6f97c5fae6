#pragma once

#include <cstdint>
#include <optional>

#include "frame/scan/WalkingScanner.h"

/// openCanvas pictures: a row of chunks, the first of which is OPIM. No document describes the format.
class KOciFileType final : public WalkingScanner<KOciFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Oci];
    static constexpr auto Signature = PatternOf("OPIM\x30\0\0\0");
    static constexpr std::int64_t MinReportLength = 256;
    /// Large canvases pass the cap.
    static constexpr std::int64_t WalkLimit = std::int64_t{1} << 32;

    static bool IsHeader(ByteSpan sector);
    static std::optional<std::int64_t> Walk(FileWindow& file);
};
