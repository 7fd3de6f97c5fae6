#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

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

/// Where certain marks begin in the stretch of the medium that walks searched last. Places are those of `ScanOffsets`.
class SearchedPlaces {
public:
    static constexpr std::int64_t Unread = -1;
    static constexpr std::int64_t NoOffset = -2;
    struct Mark {
        std::int64_t place;
        /// The offset of the cross-reference section in front of an end mark.
        std::int64_t offset = Unread;
    };

    /// The end of the searched stretch around `place`; `place` itself where there is none.
    std::int64_t SearchedTo(std::int64_t place) const { return from_ <= place && place < to_ ? to_ : place; }

    /// The known marks at or after `place`, in ascending order.
    std::span<const Mark> From(std::int64_t place) const {
        return {std::ranges::lower_bound(marks_, place, {}, &Mark::place), marks_.end()};
    }

    /// Between `from` and `to` no mark begins, except at those known already or noted next.
    void NoteSearch(std::int64_t from, std::int64_t to) {
        if (from < from_ || from > to_) {
            from_ = from;
            to_ = from;
            marks_.clear();
        }
        to_ = std::max(to_, to);
        if (marks_.size() > MostMarks) {
            // Later walks begin further on.
            const auto middle = marks_.begin() + MostMarks / 2;
            from_ = middle->place;
            marks_.erase(marks_.begin(), middle);
        }
    }
    void NoteMark(const Mark& mark) {
        if (marks_.empty() || marks_.back().place < mark.place) {
            marks_.push_back(mark);
        }
    }

private:
    // More than twice as many as fit into what is searched at once.
    static constexpr std::size_t MostMarks = 4096;

    std::int64_t from_ = 0;
    std::int64_t to_ = 0;
    // In ascending order.
    std::vector<Mark> marks_;
};

/// What the walks of a scan share: where the ends of files and the keys of drawings begin. Many headers before one
/// stretch of the medium then search it once.
class PdfMemory : public WalkMemory {
public:
    void Reset() {
        WalkMemory::Reset();
        offsets_.Reset();
    }
    void EnterBlock(const SectorBlock& block) {
        WalkMemory::EnterBlock(block);
        if (!offsets_.Enter(block)) {
            ends = {};
            keys = {};
        }
    }
    void BeginWalk(const Candidate& candidate) {
        WalkMemory::BeginWalk(candidate);
        start_ = offsets_.PlaceOf(candidate.startSector);
    }

    /// The place of an offset in the file being walked.
    std::int64_t PlaceOf(std::int64_t at) const { return start_ + at; }

    SearchedPlaces ends;
    SearchedPlaces keys;

private:
    ScanOffsets offsets_;
    std::int64_t start_ = 0;
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
