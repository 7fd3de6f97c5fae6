#pragma once

#include <cstdint>
#include <optional>

#include "formats/IconDirectory.h"
#include "frame/scan/WalkingScanner.h"

/// Windows icons of any number of sizes: as far as the last image reaches. Source: Microsoft, Icons in Win32.
class KIcoFileType final : public WalkingScanner<KIcoFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Ico];
    static constexpr SectorFilter Filter = SectorFilterOf(PatternOf("\0\0\1\0"));
    static constexpr std::int64_t MinReportLength = 256;
    static constexpr std::int64_t WalkLimit = Identity.maxSize;

    static bool IsHeader(ByteSpan sector) { return IconDirectory::IsHeader(sector, IconDirectory::Kind::Icon); }
    static std::optional<std::int64_t> Walk(FileWindow& file) {
        return IconDirectory::Measure(file, IconDirectory::Kind::Icon);
    }
};
