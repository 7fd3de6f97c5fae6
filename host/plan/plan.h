#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "host/plan/planned_files.h"
#include "host/plan/size_rules.h"
#include "host/scan/scan_session.h"
#include "host/validate/outcome.h"

namespace salvor {

/// Which outcomes the user wants as files.
struct PlanFilter {
    /// Factory indices, ascending.
    std::vector<std::int32_t> types;
    SizeRule minSize;
    SizeRule maxSize;
    /// Empty for all.
    std::vector<Verdict> only;
    /// Also write files that begin inside whole files.
    bool withEmbedded = false;
    /// Take the scanners' reports unchanged.
    bool asReported = false;
    /// Do not limit how often the same bytes are claimed.
    bool allClaims = false;
    /// The least number of pixels along the longer and the shorter side, for pictures and films of known size.
    std::int64_t leastLongSide = 0;
    std::int64_t leastShortSide = 0;
    /// Only files with a known date of origin between these two times. "2019-05" stands for the whole month. Empty for
    /// no bound.
    std::string takenFrom = {};
    std::string takenTo = {};
    bool AsksForDetails() const { return leastLongSide > 0 || !takenFrom.empty() || !takenTo.empty(); }
    /// Paths below the output folder for files that a file system knows, by their index. Other files, or all if this is
    /// empty, are named after their start.
    std::vector<std::string> originalPaths = {};
};

/// Any run of letters is plain text, so it is filtered and counted separately.
bool IsPlainTextType(std::int32_t type);
inline bool IsPlainText(const Finding& finding) { return IsPlainTextType(finding.type); }

/// Why an outcome did not become a file.
enum class NotWanted {
    Type,
    Verdict,
    TooSmall,
    TooLarge,
    NoFile,
    TextInFile,
    Embedded,
    ManyClaims,
    NoRoom,
    FewPixels,
    OtherTime
};
const char* ReasonText(NotWanted reason);

struct PassedOver {
    Outcome outcome;
    NotWanted reason;
    /// The path of the file in which it begins; empty for most.
    Phrase container;
};

/// Receives what does not become a file, as soon as that is known.
using PassOver = std::function<void(const PassedOver&)>;

struct Plan {
    /// Ordered by start.
    PlannedFiles files;
    /// In the order of the outcomes; empty if a `PassOver` receives them.
    std::vector<PassedOver> passedOver;
};

/// Why the filter refuses a file with this finding; nothing if it accepts it.
std::optional<NotWanted> RefusalOf(const Finding& finding, const PlanFilter& filter);

/// The same for a file's details.
std::optional<NotWanted> RefusalOf(const FileDetails& details, const PlanFilter& filter);

/// The facts about the medium that a plan needs; both in bytes.
struct MediumShape {
    std::int64_t sizeInBytes = 0;
    std::int32_t sectorSize = 512;
    /// The sector number to use in the name of a file that begins at this sector; the same sector if empty.
    std::function<std::int64_t(std::int64_t)> numberOf = {};
};

/// Decides which outcomes become files. What begins inside a whole file, or inside an open one whose structure is
/// unbroken, is embedded in it. Any other file ends where the next whole one begins, and hides nothing. A file whose
/// extents a file system knows is neither embedded nor cut. `caps` are the user's, in bytes by factory index. Unless
/// the filter wants all claims, the files together have at most twice the medium's size.
Plan MakePlan(Outcomes outcomes, const MediumShape& medium, const PlanFilter& filter,
              const std::map<std::int32_t, std::int64_t>& caps);
/// The same for very many outcomes: `passOver` receives each that does not become a file at once.
Plan MakePlan(Outcomes outcomes, const MediumShape& medium, const PlanFilter& filter,
              const std::map<std::int32_t, std::int64_t>& caps, const PassOver& passOver);

/// Keeps as many files as fit into `room`, the best first: the more certain ones, then the smaller ones. `costOf` gives
/// how much of the room a file takes. The others are passed over with the given reason.
void KeepBest(Plan& plan, std::int64_t room, NotWanted reason,
              const std::function<std::int64_t(const PlannedFile&)>& costOf);

/// Passes over the files whose details the filter refuses; the details must be known.
void KeepByDetails(Plan& plan, const PlanFilter& filter);

/// Turns the finds into outcomes without looking at the medium: one for each range that wanted types claim. `wanted`
/// ascends.
Outcomes ReportedOutcomes(const std::vector<Find>& finds, const MediumShape& medium,
                          const std::vector<std::int32_t>& wanted);

}  // namespace salvor
