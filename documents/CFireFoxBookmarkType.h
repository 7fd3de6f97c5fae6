#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "frame/scan/RunScanner.h"

/// Bookmark files in the Netscape format: HTML that opens with its own document type, in any letter case, and ends with
/// "</DL><p>" where the text is followed by something that is not text, as at the end of the file's last cluster.
class CFireFoxBookmarkType final : public RunScanner<CFireFoxBookmarkType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Bookmarks];
    /// "<!DO", in any letter case.
    static constexpr SectorFilter Filter{PatternOf("<!DO"), PatternOf("\xFF\xFF\xDF\xDF"), 0};
    static constexpr std::int64_t MinReportLength = 16384;

    static bool IsHeader(ByteSpan sector);
    static std::optional<std::size_t> FindEnd(ByteSpan sector);
};
