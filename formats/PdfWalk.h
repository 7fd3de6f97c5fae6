#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>

#include "frame/bytes/Bytes.h"
#include "frame/memory/ScanOffsets.h"
#include "frame/read/FileWindow.h"
#include "frame/scan/WalkingScanner.h"

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

/// What the walks of a scan share: a stretch of the medium in which nothing begins that they search for. Many headers
/// before one such stretch then search it once.
class PdfMemory : public WalkMemory {
public:
    void Reset() {
        WalkMemory::Reset();
        offsets_.Reset();
    }
    void EnterBlock(const SectorBlock& block) {
        WalkMemory::EnterBlock(block);
        if (!offsets_.Enter(block)) {
            searched_ = {};
        }
    }
    void BeginWalk(const Candidate& candidate) {
        WalkMemory::BeginWalk(candidate);
        start_ = offsets_.PlaceOf(candidate.startSector);
    }

    /// How many bytes from `at` on, in the file that is walked, need not be searched.
    std::int64_t SearchedFrom(std::int64_t at) const {
        const std::int64_t place = start_ + at;
        return searched_.from <= place && place < searched_.to ? searched_.to - place : 0;
    }
    /// Nothing that is searched for begins in `bytes` bytes from `at` on.
    void NoteSearched(std::int64_t at, std::int64_t bytes) {
        const std::int64_t place = start_ + at;
        const bool goesOn = searched_.from <= place && place <= searched_.to;
        searched_ = {goesOn ? searched_.from : place, std::max(goesOn ? searched_.to : 0, place + bytes)};
    }

private:
    struct Stretch {
        std::int64_t from = 0;
        std::int64_t to = 0;
    };

    ScanOffsets offsets_;
    // In places, like the start of the file that is walked.
    Stretch searched_;
    std::int64_t start_ = 0;
};

/// The extent of the PDF at the start of `file`; nothing if no end of it is found.
///
/// A PDF ends with the offset of its newest cross-reference section and `%%EOF`. Files that were updated hold this more
/// than once, linearized ones hold it near their start, and files attached to a PDF bring their own. So the offset must
/// lead to a cross-reference section of this file, and what follows must not go on like a PDF. A file whose
/// offsets are wrong ends with the first such mark that nothing follows.
std::optional<PdfExtent> FindPdfEnd(FileWindow& file, PdfMemory& memory);

/// The end of the text's last line, which ends at `at` except for its line end. More white space belongs to the file
/// when zeros or the end of a sector follow it, or when there is more of it than chance explains.
std::int64_t EndOfLastLine(ByteWindow& file, std::int64_t at, std::int64_t sectorSize);
