#pragma once

#include <functional>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "host/records/line_log.h"
#include "host/records/piece.h"
#include "host/validate/validate_finds.h"

namespace salvor {

/// A digest of the medium's size and sectors, of the scan's sightings and of the user's caps. Outcomes are reused only
/// if it is the same.
std::string DigestOf(const Medium& medium, const Sightings& seen, const std::map<std::int32_t, std::int64_t>& caps);

/// The same digest for a medium whose file systems lay out clusters as `grids` say. It begins with `digest`.
std::string DigestWith(const std::string& digest, const std::vector<GridStretch>& grids);

/// Sightings as a row of numbers, and back from these.
void ForEachNumber(const Sightings& seen, const std::function<void(std::int64_t)>& take);
Sightings SightingsFrom(const std::function<std::int64_t()>& next);

/// Lines of an outcomes file, with their line breaks.
std::string FindingLine(const KnownFinding& finding);
std::string RefusedLine(Validator::Phase phase, std::span<const std::int64_t> sectors);
std::string WalkLine(const WalkPlace& place, const WalkNote& note);
std::string UnreadableLine(const std::vector<SectorRange>& sectors);
std::string OutcomeLine(const Outcome& outcome);
std::string SetAsideLine(const SetAside& setAside);
using VerdictCounts = std::map<std::string, std::int64_t>;
std::string SummaryLine(bool isComplete, const VerdictCounts& byVerdict);

/// Writes outcomes as JSON lines, only ever appending: intermediate findings, with which an interrupted run goes on,
/// and finally one line for each place. An existing file stays until the new one has everything that it holds.
class OutcomesWriter {
public:
    /// The new file's name ends with `draftSuffix` until `TakeName`. Other processes that write outcomes to the same
    /// place at the same time use another suffix.
    OutcomesWriter(const FilePlace& place, const std::string& digest, const std::string& draftSuffix);

    void AddFinding(const KnownFinding& finding);
    void AddRefused(Validator::Phase phase, std::span<const std::int64_t> sectors);
    /// Adds unreadable sectors that the scan did not try.
    void AddUnreadable(const std::vector<SectorRange>& sectors);
    void AddWalk(const WalkPlace& place, const WalkNote& note);
    void AddSetAside(const SetAside& setAside);
    void Add(const Validation& validation);
    /// Notes that a piece of the work is done. It has findings, but no outcomes yet.
    void AddPiece(const Piece& piece);
    void TakeName() { log_.TakeName(); }
    void Flush() { log_.Flush(); }
    void Sync() { log_.Sync(); }

private:
    LineLog log_;
};

/// Outcomes that were read back.
struct OutcomesRead {
    /// The digest that they belong to.
    std::string digest;
    KnownFindings known;
    KnownWalks walks;
    /// Unreadable sectors that are not among those of the scan.
    std::vector<SectorRange> unreadable;
    /// Complete only if the file is complete.
    Validation validation;
    /// The piece of the work that the file is the result of.
    std::optional<Piece> piece;
    /// Lines that make no sense, including an incomplete last line.
    std::int64_t damagedLines = 0;
};

/// Takes over a line of an outcomes file, other than its first. Throws an exception of the standard library if it makes
/// no sense.
void TakeOutcomesLine(const std::string& line, OutcomesRead& read);

/// True if the file seems to have all outcomes for what has this digest; lines in its middle may be damaged.
bool HasAllOutcomes(const FilePlace& place, const std::string& digest);

/// Reads as much of the file as there is; nothing if it cannot be read or is not an outcomes file.
std::optional<OutcomesRead> ReadOutcomes(const FilePlace& place);

}  // namespace salvor
