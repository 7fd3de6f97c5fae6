#pragma once

#include <cstdint>
#include <optional>

#include "frame/scan/WalkingScanner.h"

/// Access databases: the map of free pages, which the second page holds, tells the last page in use. Pages behind it
/// that the database freed without giving them back belong to the file all the same.
/// Sources: the HACKING notes of mdbtools; Jackcess, UsageMap.
class KMdbFileType final : public WalkingScanner<KMdbFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Mdb];
    /// What both magics begin with, behind four bytes.
    static constexpr SectorFilter Filter = SectorFilterOf(PatternOf("Standard"), 4);
    static constexpr std::int64_t MinReportLength = 20480;
    static constexpr std::int64_t WalkLimit = std::int64_t{1} << 31;

    static bool IsHeader(ByteSpan sector);
    static std::optional<std::int64_t> Walk(FileWindow& file);
};
