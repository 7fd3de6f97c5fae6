#pragma once

#include <cstdint>
#include <map>
#include <vector>

#include "host/medium/medium.h"
#include "host/validate/outcome.h"
#include "host/volumes/known_files.h"

namespace salvor {

/// Asks for the finding of a known file's joined extents.
struct JoinedQuestion {
    /// Its index.
    std::int32_t file = 0;
    /// What scanners reported where it begins, of types that have validators.
    std::vector<ReportedClaim> reported;
};

/// The findings for the joined extents of known files, by index; verdict `NoFile` where they hold no file.
using JoinedFindings = std::map<std::int32_t, Finding>;

/// The questions to answer before known files can be compared with outcomes, which ascend. Together the files have at
/// most a few times the medium's bytes: a file system may claim the same bytes for any number of files.
std::vector<JoinedQuestion> QuestionsAbout(const KnownFiles& files, const std::vector<Outcome>& outcomes,
                                           const Medium& medium);

/// Compares what was carved with what file systems know. Each outcome that begins where a known file does is linked to
/// it. If the extents of an intact known file hold a file at least as sure as the carved one, or nothing was carved
/// there, they take its place. `outcomes` ascend, also afterwards. `sectorSize` in bytes.
void PreferKnown(const KnownFiles& files, const JoinedFindings& joined, std::int32_t sectorSize,
                 std::vector<Outcome>& outcomes);

}  // namespace salvor
