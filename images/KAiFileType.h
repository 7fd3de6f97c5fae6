#pragma once

#include <cstdint>
#include <optional>

#include "formats/PdfWalk.h"
#include "frame/scan/WalkingScanner.h"

/// Illustrator's drawings: PostScript with structure comments in old versions, PDF with the drawing as private data in
/// newer ones. Sources: Adobe, PostScript Language Document Structuring Conventions 3.0; Adobe Illustrator File Format
/// Specification.
class KAiFileType final : public WalkingScanner<KAiFileType, PdfMemory> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Ai];
    /// A PDF, or PostScript.
    static constexpr AnySectorFilter Filter{SectorFilterOf(PatternOf("%PDF")), SectorFilterOf(PatternOf("%!PS"))};
    static constexpr std::int64_t MinReportLength = 256;
    static constexpr std::int64_t WalkLimit = PdfWalkLimit;

    static bool IsHeader(ByteSpan sector);
    std::optional<std::int64_t> Walk(FileWindow& file);
};
