#pragma once

#include <cstdint>
#include <map>
#include <vector>

#include "host/medium/medium.h"
#include "host/validate/outcome.h"
#include "host/volumes/known_files.h"

namespace salvor {

/// Asks what the extents of a known file, joined, hold.
struct JoinedQuestion {
    /// Its index.
    std::int32_t file = 0;
    /// What scanners reported where it begins, of types that have validators.
    std::vector<ReportedClaim> reported;
};

/// What validators say of the joined extents of known files, by index; verdict `NoFile` where there is nothing.
using JoinedFindings = std::map<std::int32_t, Finding>;

/// What has to be found out of known files before they can be compared with outcomes, which ascend. Together they have
/// a few times the bytes of the medium at most: file systems may claim the same ones for any number of files.
std::vector<JoinedQuestion> QuestionsAbout(const KnownFiles& files, const std::vector<Outcome>& outcomes,
                                           const Medium& medium);

/// Compares what was carved with what file systems know. Each outcome that begins where a known file does is linked
/// to that. Where the extents of an intact known file hold a file that is at least as sure as the carved one, they take
/// its place; so they do where nothing was carved. `outcomes` ascend and do so afterwards. `sectorSize` in bytes.
void PreferKnown(const KnownFiles& files, const JoinedFindings& joined, std::int32_t sectorSize,
                 std::vector<Outcome>& outcomes);

}  // namespace salvor
