#pragma once

#include <cstdint>
#include <optional>

#include "formats/PdfWalk.h"
#include "frame/scan/WalkingScanner.h"

/// PDF documents, except the drawings that Illustrator saves as such, which have a type of their own. Their end is
/// known by `PdfWalk`.
class KPdfFileType final : public WalkingScanner<KPdfFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[31];
    static constexpr FormatNotes Notes{
        .source = "ISO 32000-1 and ISO 32000-2, file structure, incremental updates and linearized PDF",
        .found =
            "PDF of all versions, linearized and updated files too. Illustrator's are left to their own type, unless "
            "they are longer than what is reported of that.",
        .end =
            "The last end mark whose offset leads to a cross-reference section of the file and that nothing of it "
            "follows; exact.",
        .limits =
            "Nothing is reported of files without such a mark, as of those that lost their end, and of files longer "
            "than 2 GiB. A file with wrong offsets ends with its first end mark that nothing of a PDF follows."};
    static constexpr SectorFilter Filter = SectorFilterOf(PatternOf("%PDF"));
    static constexpr std::int64_t MinReportLength = 256;
    static constexpr std::int64_t WalkLimit = PdfWalkLimit;

    static bool IsHeader(ByteSpan sector) { return IsPdfHeader(sector); }

    static std::optional<std::int64_t> Walk(FileWindow& file) {
        const std::optional<PdfExtent> pdf = FindPdfEnd(file);
        // A drawing that its own type cuts is whole only as a document.
        constexpr std::int64_t longestDrawing = FileTypeCatalog[74].maxSize;
        const bool isOwn = pdf && (!pdf->isIllustrator || pdf->size > longestDrawing);
        return isOwn ? std::optional(pdf->size) : std::nullopt;
    }
};
