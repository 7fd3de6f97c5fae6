#pragma once

#include <cstdint>
#include <optional>

#include "formats/PdfWalk.h"
#include "frame/scan/WalkingScanner.h"

/// Illustrator's drawings: PostScript with structure comments in old versions, PDF with the drawing in private data in
/// new ones. Sources: Adobe, PostScript Language Document Structuring Conventions 3.0; Adobe Illustrator File Format
/// Specification.
class KAiFileType final : public WalkingScanner<KAiFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[74];
    static constexpr FormatNotes Notes{
        .source =
            "Adobe, PostScript Language Document Structuring Conventions Specification 3.0; Adobe Illustrator File "
            "Format Specification; ISO 32000",
        .found = "PostScript drawings of versions 1 to 8, and PDF drawings of version 9 and later.",
        .end =
            "In PDF as for PDF documents. In PostScript the end-of-file comment behind the trailer; exact. Without "
            "that comment the first byte behind the trailer that is no text.",
        .limits =
            "PostScript with binary preview in front is not found. PDF documents that keep the editable drawing are "
            "found as drawings."};
    /// A PDF, or PostScript.
    static constexpr AnySectorFilter Filter{SectorFilterOf(PatternOf("%PDF")), SectorFilterOf(PatternOf("%!PS"))};
    static constexpr std::int64_t MinReportLength = 256;
    static constexpr std::int64_t WalkLimit = PdfWalkLimit;

    static bool IsHeader(ByteSpan sector);
    static std::optional<std::int64_t> Walk(FileWindow& file);
};
