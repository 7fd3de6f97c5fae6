#pragma once

#include <cstdint>
#include <optional>

#include "frame/scan/WalkingScanner.h"

/// OneNote sections: desktop files by the length in their header, files of the online service object by object.
/// Sources: Microsoft, [MS-ONESTORE] 2.3.1 and 2.8.1, [MS-FSSHTTPB] 2.2.1.5.
class KOneFileType final : public WalkingScanner<KOneFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::One];
    /// Just a header.
    static constexpr auto Signature = PatternOf("\xE4\x52\x5C\x7B\x8C\xD8\xA7\x4D\xAE\xB1\x53\x78\xD0\x29\x96\xD3");
    static constexpr std::int64_t MinReportLength = 1024;
    static constexpr std::int64_t WalkLimit = Identity.maxSize;

    static bool IsHeader(ByteSpan sector);
    static std::optional<std::int64_t> Walk(FileWindow& file);
};
