#pragma once

#include <cstdint>
#include <optional>

#include "frame/scan/WalkingScanner.h"

/// Compiled HTML Help: the first section after the header has the file's size. Source: P. Wise and J. Cooke, Unofficial
/// (Preliminary) HTML Help Specification.
class KCHMFileType final : public WalkingScanner<KCHMFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Chm];
    static constexpr auto Signature = PatternOf("ITSF");
    static constexpr std::int64_t MinReportLength = 256;
    static constexpr std::int64_t WalkLimit = 0x7FFFFFFF;

    static std::optional<std::int64_t> Walk(FileWindow& file);
};
