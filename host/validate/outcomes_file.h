#pragma once

#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "host/report/line_log.h"
#include "host/report/piece.h"
#include "host/validate/validate_finds.h"

namespace salvor {

/// A digest of the medium's size and sectors, of the scan's sightings and of the user's caps. Outcomes are used again
/// only if it is the same.
std::string DigestOf(const Medium& medium, const Sightings& seen, const std::map<std::int32_t, std::int64_t>& caps);

/// What was sighted as numbers in a row, and back. The numbers are those of `NumbersOf`.
std::vector<std::int64_t> NumbersOf(const Sightings& seen);
Sightings SightingsIn(std::span<const std::int64_t> numbers);

/// Lines of an outcomes file, with their line breaks.
std::string FindingLine(const KnownFinding& finding);
std::string UnreadableLine(const std::vector<SectorRange>& sectors);
std::string OutcomeLine(const Outcome& outcome);
std::string SetAsideLine(const SetAside& setAside);
using VerdictCounts = std::map<std::string, std::int64_t>;
std::string SummaryLine(bool isComplete, const VerdictCounts& byVerdict);

/// Writes outcomes as JSON lines, only ever appending: what was found out by the way, which serves a run that goes on,
/// and in the end one line for every place. A file that is there stays until all that it holds is in the new one.
class OutcomesWriter {
public:
    /// The new file's name ends with `draftSuffix` until `TakeName`. Other processes that write outcomes to the same
    /// place at the same time have another suffix.
    OutcomesWriter(const FilePlace& place, const std::string& digest, const std::string& draftSuffix);

    void AddFinding(const KnownFinding& finding);
    /// These sectors, which the scan did not try, cannot be read.
    void AddUnreadable(const std::vector<SectorRange>& sectors);
    void AddSetAside(const SetAside& setAside);
    void Add(const Validation& validation);
    /// A piece of the work is done. It has findings, but no outcomes yet.
    void AddPiece(const Piece& piece);
    void TakeName() { log_.TakeName(); }
    void Sync() { log_.Sync(); }

private:
    LineLog log_;
};

/// Outcomes as read back.
struct OutcomesRead {
    /// What they are the outcomes of.
    std::string digest;
    std::vector<KnownFinding> known;
    /// Sectors that could not be read, besides those of the scan.
    std::vector<SectorRange> unreadable;
    /// Complete only if the file is.
    Validation validation;
    /// The piece of the work that was done for it.
    std::optional<Piece> piece;
    /// Unreadable lines, including a last line that was cut.
    std::int64_t damagedLines = 0;
};

/// Takes a line of an outcomes file other than its first. Throws an exception of the standard library for one that
/// makes no sense.
void TakeOutcomesLine(const std::string& line, OutcomesRead& read);

/// Reads as much of the file as is there; nothing if it cannot be read or is not an outcomes file.
std::optional<OutcomesRead> ReadOutcomes(const FilePlace& place);

}  // namespace salvor
