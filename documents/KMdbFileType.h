#pragma once

#include <cstdint>
#include <optional>

#include "frame/scan/WalkingScanner.h"

/// Access databases: the map of free pages, which the second page holds, tells the last page in use. Pages behind it
/// that the database freed without giving them back belong to the file all the same.
/// Sources: the HACKING notes of mdbtools; Jackcess, UsageMap.
class KMdbFileType final : public WalkingScanner<KMdbFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[71];
    static constexpr FormatNotes Notes{
        .source = "mdbtools, HACKING; Jackcess, usage maps",
        .found =
            "Databases of Access 97 (Jet 3), 2000 to 2003 (Jet 4) and later (ACE), plain or with the simple "
            "encryption of Jet.",
        .end = "The last page that the map of free pages does not list, with freed pages behind it. Exact as a rule.",
        .limits =
            "Databases encrypted with a password by Access 2007 and later are not found. Zero pages that were "
            "reserved behind the last page in use are not counted."};
    /// What both magics begin with, behind four bytes.
    static constexpr SectorFilter Filter = SectorFilterOf(PatternOf("Standard"), 4);
    static constexpr std::int64_t MinReportLength = 20480;
    static constexpr std::int64_t WalkLimit = std::int64_t{1} << 31;

    static bool IsHeader(ByteSpan sector);
    static std::optional<std::int64_t> Walk(FileWindow& file);
};
