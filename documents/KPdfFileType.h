#pragma once

#include <cstdint>
#include <optional>

#include "formats/PdfWalk.h"
#include "frame/scan/WalkingScanner.h"

/// PDF documents except Illustrator's drawings, which have a type of their own. `PdfWalk` finds the end.
class KPdfFileType final : public WalkingScanner<KPdfFileType, PdfMemory> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Pdf];
    static constexpr SectorFilter Filter = SectorFilterOf(PatternOf("%PDF"));
    static constexpr std::int64_t MinReportLength = 256;
    static constexpr std::int64_t WalkLimit = PdfWalkLimit;

    static bool IsHeader(ByteSpan sector) { return IsPdfHeader(sector); }

    std::optional<std::int64_t> Walk(FileWindow& file) {
        const std::optional<PdfExtent> pdf = FindPdfEnd(file, memory_);
        // A drawing longer than its own type's cap is whole only as a document.
        constexpr std::int64_t longestDrawing = FileTypeCatalog[FileTypeIndex::Ai].maxSize;
        const bool isOwn = pdf && (!pdf->isIllustrator || pdf->size > longestDrawing);
        return isOwn ? std::optional(pdf->size) : std::nullopt;
    }
};
