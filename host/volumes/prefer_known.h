#pragma once

#include <cstdint>
#include <map>
#include <vector>

#include "host/medium/medium.h"
#include "host/validate/outcome.h"
#include "host/volumes/known_files.h"

namespace salvor {

/// A request for the finding of a known file's joined extents.
struct JoinedQuestion {
    /// The file's index.
    std::int32_t file = 0;
    /// The reports of scanners at its start, of types that have validators.
    std::vector<ReportedClaim> reported;
};

/// True if a validator judges the finds of a type, false if its scanner's reports count.
bool HasValidator(std::int32_t type);

/// The findings for the joined extents of known files, by index; verdict `NoFile` if they hold no file.
using JoinedFindings = std::map<std::int32_t, Finding>;

/// The questions to answer before known files can be compared with outcomes, which must ascend. Together the files have
/// at most a few times the medium's bytes: a file system may claim the same bytes for any number of files.
std::vector<JoinedQuestion> QuestionsAbout(const KnownFiles& files, const Outcomes& outcomes, const Medium& medium);

/// Compares carved files with known ones. Each outcome that begins where a known file does is linked to it. If the
/// extents of an intact known file hold a file at least as certain as the carved one, or nothing was carved there, they
/// replace it. `outcomes` ascend before and after. `sectorSize` in bytes.
void PreferKnown(const KnownFiles& files, const JoinedFindings& joined, std::int32_t sectorSize, Outcomes& outcomes);

}  // namespace salvor
