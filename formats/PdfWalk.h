#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>
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
    /// The end of the searched stretch around `place`; `place` itself where there is none.
    std::int64_t SearchedTo(std::int64_t place) const { return from_ <= place && place < to_ ? to_ : place; }

    /// The first place at or after `place` in the searched stretch.
    std::optional<std::int64_t> FirstFrom(std::int64_t place) const {
        const auto first = std::ranges::lower_bound(places_, place);
        return first == places_.end() ? std::nullopt : std::optional(*first);
    }

    /// Between `from` and `to` no mark begins, except at `found`.
    void Note(std::int64_t from, std::int64_t to, std::optional<std::int64_t> found) {
        if (from < from_ || from > to_) {
            from_ = from;
            to_ = from;
            places_.clear();
        }
        to_ = std::max(to_, to);
        if (found && (places_.empty() || places_.back() < *found)) {
            places_.push_back(*found);
        }
        if (places_.size() > MostPlaces) {
            // Later walks begin further on.
            const auto middle = places_.begin() + MostPlaces / 2;
            from_ = *middle;
            places_.erase(places_.begin(), middle);
        }
    }

private:
    static constexpr std::size_t MostPlaces = 1024;

    std::int64_t from_ = 0;
    std::int64_t to_ = 0;
    // In ascending order.
    std::vector<std::int64_t> places_;
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
