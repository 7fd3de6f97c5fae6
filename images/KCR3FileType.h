#pragma once

#include <cstdint>
#include <optional>

#include "formats/BoxWalk.h"
#include "frame/scan/RememberingScanner.h"

/// Canon camera raws built on the ISO base media format.
/// Source: ISO/IEC 14496-12, section 4.2; L. Clévy, Canon CR3, on the brand and the maker's boxes.
class KCR3FileType final : public RememberingScanner<KCR3FileType, BoxWalk> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[51];
    static constexpr FormatNotes Notes{
        .source = "ISO/IEC 14496-12, section 4.2; L. Clévy, Canon CR3, on the brand and the maker's boxes",
        .found = "Raw still pictures of the brand crx, bursts among them.",
        .end =
            "The boxes are walked to the first that the format does not have, and the block that Canon's programs "
            "append behind it is added; exact.",
        .limits =
            "Raw movies and HEIF pictures of these cameras are left alone. A file whose last box would be longer "
            "than the medium is not found."};
    static constexpr SectorFilter Filter = FileTypeBoxFilter;
    static constexpr std::int64_t MinReportLength = 256;

    static bool IsHeader(ByteSpan sector);
    std::optional<std::int64_t> Measure(const Candidate& candidate);
};
