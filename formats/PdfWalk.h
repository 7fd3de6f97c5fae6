#pragma once

#include <cstdint>
#include <optional>

#include "formats/PdfMemory.h"
#include "frame/bytes/Bytes.h"
#include "frame/read/FileWindow.h"

/// Where a PDF ends, for the types whose files are PDFs. Sources: ISO 32000-1, 7.5 and annex F; ISO 32000-2, 7.5.6.

/// No byte of a PDF farther than this from its start is looked at. Where a file is damaged, the search ends far
/// earlier.
inline constexpr std::int64_t PdfWalkLimit = 0x80000000;

/// `%PDF-` and a version number.
bool IsPdfHeader(ByteSpan bytes);

struct PdfExtent {
    /// In bytes.
    std::int64_t size;
    /// The file has one of the keys under which Illustrator keeps its own drawing.
    bool isIllustrator;
};

/// The extent of the PDF at the start of `file`; nothing if no end of it is found.
///
/// A PDF ends with the offset of its newest cross-reference section and `%%EOF`. Files that were updated hold this more
/// than once, linearized ones hold it near their start, and files attached to a PDF bring their own. So the offset must
/// lead to a cross-reference section of this file, and what follows must not continue a PDF. A file whose offsets are
/// wrong ends with the first such mark that nothing follows.
std::optional<PdfExtent> FindPdfEnd(FileWindow& file, PdfMemory& memory);

/// The end of the text's last line, which ends at `at` except for its line end. More white space belongs to the file
/// when zeros or the end of a sector follow it, or when there is more of it than chance explains.
std::int64_t EndOfLastLine(ByteWindow& file, std::int64_t at, std::int64_t sectorSize);
