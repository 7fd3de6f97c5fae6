#pragma once

#include <cstdint>
#include <optional>

#include "frame/scan/WalkingScanner.h"

/// Access databases: the map of free pages, on the second page, gives the last page in use. Freed pages after it still
/// belong to the file. Sources: the HACKING notes of mdbtools; Jackcess, UsageMap.
class KMdbFileType final : public WalkingScanner<KMdbFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Mdb];
    /// Both signatures go on like this after four bytes.
    static constexpr SectorFilter Filter = SectorFilterOf(PatternOf("Standard"), 4);
    static constexpr std::int64_t MinReportLength = 20480;
    static constexpr std::int64_t WalkLimit = std::int64_t{1} << 31;

    static bool IsHeader(ByteSpan sector);
    static std::optional<std::int64_t> Walk(FileWindow& file);
};
