#pragma once

#include <cstdint>
#include <optional>

#include "frame/scan/WalkingScanner.h"

/// WordPerfect documents: those of release 6 and later by the length that their header says, others function by
/// function. Sources: Corel, WordPerfect file format of the software developer's kit; the libwpd project.
class KWpdFileType final : public WalkingScanner<KWpdFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[105];
    static constexpr FormatNotes Notes{
        .source = "Corel, WordPerfect File Format of the Software Developer's Kit; the libwpd project",
        .found = "Documents of WordPerfect 5.0, 5.1 and 6 and later, and of WordPerfect for Macintosh and VAX.",
        .end =
            "From release 6 on the length in the header; exact. Others have no end mark: they end in front of zeros, "
            "of another document, or of a sector that does not go on with their functions.",
        .limits =
            "Text that follows a document without a length counts as its own. Documents inside a compound file are "
            "found by its types only. Release 4.2 has no signature; encrypted documents are found from release 6 "
            "on."};
    static constexpr auto Signature = PatternOf("\xFFWPC");
    static constexpr std::int64_t MinReportLength = 256;
    static constexpr std::int64_t WalkLimit = Identity.maxSize;

    static bool IsHeader(ByteSpan sector);
    static std::optional<std::int64_t> Walk(FileWindow& file);
};
