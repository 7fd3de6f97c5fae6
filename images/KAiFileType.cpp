#include "images/KAiFileType.h"

#include "formats/PostScriptWalk.h"

namespace {

// Enough to tell a PDF.
constexpr std::size_t PdfHeaderBytes = 11;

}  // namespace

bool KAiFileType::IsHeader(ByteSpan sector) { return IsPdfHeader(sector) || IsPostScriptHeader(sector); }

std::optional<std::int64_t> KAiFileType::Walk(FileWindow& file) {
    if (IsPdfHeader(file.From(0, PdfHeaderBytes))) {
        const std::optional<PdfExtent> pdf = FindPdfEnd(file, memory_);
        return pdf && pdf->isIllustrator ? std::optional(pdf->size) : std::nullopt;
    }
    return IsIllustratorDrawing(file) ? FindPostScriptEnd(file, file.SectorSize(), /*endsAtBinary=*/false).end
                                      : std::nullopt;
}
