#pragma once

#include <cstdint>
#include <optional>

#include "formats/BoxWalk.h"
#include "frame/scan/RememberingScanner.h"

/// Canon camera raws built on the ISO base media format.
/// Source: ISO/IEC 14496-12, section 4.2; L. Clévy, Canon CR3, on the brand and the maker's boxes.
class KCR3FileType final : public RememberingScanner<KCR3FileType, BoxWalk> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Cr3];
    static constexpr SectorFilter Filter = FileTypeBoxFilter;
    static constexpr std::int64_t MinReportLength = 256;

    static bool IsHeader(ByteSpan sector);
    std::optional<std::int64_t> Measure(const Candidate& candidate);
};
