#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "host/details/file_details.h"
#include "host/plan/size_rules.h"
#include "host/scan/scan_session.h"
#include "host/validate/outcome.h"

namespace salvor {

/// Which outcomes a person wants as files.
struct PlanFilter {
    /// Factory indices, ascending.
    std::vector<std::int32_t> types;
    SizeRule minSize;
    SizeRule maxSize;
    /// Empty for all.
    std::vector<Verdict> only;
    /// Files that begin in whole files too.
    bool withEmbedded = false;
    /// What scanners reported, as it is.
    bool asReported = false;
    /// However often the same bytes are claimed.
    bool allClaims = false;
    /// The least pixels along the longer and the shorter side, for pictures and films whose size is known.
    std::int64_t leastLongSide = 0;
    std::int64_t leastShortSide = 0;
    /// Only files that say when they were taken, between these two times. "2019-05" stands for the whole month. Empty
    /// for no bound.
    std::string takenFrom = {};
    std::string takenTo = {};
    bool AsksForDetails() const { return leastLongSide > 0 || !takenFrom.empty() || !takenTo.empty(); }
    /// Paths below the output folder for files that a file system knows, by their index there. Other files, or all if
    /// it is empty, are named after their start.
    std::vector<std::string> originalPaths = {};
};

/// A file that begins inside another one, which is whole.
struct EmbeddedFile {
    std::int64_t startSector = 0;
    /// Its size ends with the file around it.
    Finding finding;
};

/// One file to write. There may be millions.
struct PlannedFile {
    /// In the file's order; one at least.
    std::vector<Extent> extents;
    /// Its size is that of all extents.
    Finding finding;
    Claims reported;
    /// Below the output folder.
    std::string path;
    /// The index of what a file system knows of it; -1 for unknown files.
    std::int32_t known = -1;
    /// The path of the file in which it begins; empty for most.
    Phrase container;
    std::vector<EmbeddedFile> embedded;
    /// Found out behind planning.
    Seldom<FileDetails> details;
    /// The size passes the medium's end.
    bool cutAtEnd = false;
    /// The size is the largest that was asked for or that the scanner reports, so the file may go on after it.
    bool atSizeCap = false;

    std::int64_t StartSector() const { return extents.front().startSector; }
    std::int64_t Size() const { return finding.size; }
    /// Factory indices of all types that claim it, the one that it has in front and the others ascending.
    std::vector<std::int32_t> Types() const;
};

/// Any run of letters is plain text, so it is filtered and counted apart.
bool IsPlainTextType(std::int32_t type);
inline bool IsPlainText(const Finding& finding) { return IsPlainTextType(finding.type); }

/// Why an outcome became no file.
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
    std::string container;
};

/// Takes what becomes no file, as soon as that is known.
using PassOver = std::function<void(const PassedOver&)>;

struct Plan {
    /// In order of their start.
    std::vector<PlannedFile> files;
    /// In the order of the outcomes; what is not handed to a `PassOver`.
    std::vector<PassedOver> passedOver;
};

/// Why a filter refuses a file of this finding; nothing if it takes it.
std::optional<NotWanted> RefusalOf(const Finding& finding, const PlanFilter& filter);

/// The same for what a file says of itself.
std::optional<NotWanted> RefusalOf(const FileDetails& details, const PlanFilter& filter);

/// The medium as far as a plan needs it; both in bytes.
struct MediumShape {
    std::int64_t sizeInBytes = 0;
    std::int32_t sectorSize = 512;
    /// The sector that stands in the name of a file which begins at this one; the same if it is empty.
    std::function<std::int64_t(std::int64_t)> numberOf = {};
};

/// Decides which outcomes become files. What begins inside a whole file, or inside an open one whose structure is
/// unbroken, is embedded in it. Any other file ends where the next whole one begins, and hides nothing. A file that a
/// file system knows the extents of is neither embedded nor cut. `caps` are those that the person set, in bytes by
/// factory index. Unless the filter wants all claims, the files together are no larger than twice the medium.
Plan MakePlan(const std::vector<Outcome>& outcomes, const MediumShape& medium, const PlanFilter& filter,
              const std::map<std::int32_t, std::int64_t>& caps);
/// The same for very many outcomes: `passOver` takes each that becomes no file at once.
Plan MakePlan(const std::vector<Outcome>& outcomes, const MediumShape& medium, const PlanFilter& filter,
              const std::map<std::int32_t, std::int64_t>& caps, const PassOver& passOver);

/// Keeps as many files as the room holds, the best first: what is more certain, then what is smaller. `costOf` says
/// what a file takes of the room. The others are passed over for the given reason.
void KeepBest(Plan& plan, std::int64_t room, NotWanted reason,
              const std::function<std::int64_t(const PlannedFile&)>& costOf);

/// Passes over the files that the filter refuses because of their details, which are known by now.
void KeepByDetails(Plan& plan, const PlanFilter& filter);

/// The finds as outcomes without a look at the medium: one for each range that is claimed by wanted types, which
/// ascend.
std::vector<Outcome> ReportedOutcomes(const std::vector<Find>& finds, const MediumShape& medium,
                                      const std::vector<std::int32_t>& wanted);

}  // namespace salvor
