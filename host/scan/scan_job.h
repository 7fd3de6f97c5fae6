#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "host/medium/medium.h"
#include "host/platform/folder.h"
#include "host/scan/journal.h"
#include "host/scan/segment_journal.h"

namespace salvor {

/// What tells a medium from others, and whether it has changed.
struct MediumIdentity {
    std::int64_t size = 0;
    /// Of files: when one was changed last, in units of the system's clock for files.
    std::optional<std::int64_t> modified;
    /// Of its first and last MiB.
    std::string digest;
    /// Of devices, as far as the system knows them.
    std::string model{};
    std::string serial{};
};

MediumIdentity IdentityOf(Medium& medium);

/// The values that the person gave, by the options' names; one empty word for a flag.
using Choices = std::map<std::string, std::vector<std::string>>;

/// A scan that a folder was begun with; kept there, so that any later run goes on with the same.
struct ScanJob {
    /// The program and its version.
    std::string program;
    JournalHeader header;
    MediumIdentity medium;
    /// How many blocks a segment has.
    std::int64_t segmentBlocks = 1;
    /// The choices of a recovery about the files that it writes; nothing for a scan alone.
    std::optional<Choices> choices{};
};

ScanJob MakeScanJob(const JournalHeader& header, const MediumIdentity& medium, std::int64_t segmentBlocks);

/// Nothing if none was begun there. Throws `Failure` (not started) for one that is damaged or another version's.
std::optional<ScanJob> ReadScanJob(const Folder& folder);

/// Throws `Failure` (not started) if it cannot be stored, or if another run has begun another scan there meanwhile.
void WriteScanJob(const Folder& folder, const ScanJob& job);

/// How the medium differs from what it was, for people; empty if it does not.
std::string ChangeOf(const MediumIdentity& then, const MediumIdentity& now);

/// Under which journals of its segments are kept.
ScanKey KeyOf(const ScanJob& job);

ScanRequest RequestOf(const JournalHeader& header);

}  // namespace salvor
