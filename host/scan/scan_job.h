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

/// Identifies a medium, and shows whether it has changed.
struct MediumIdentity {
    std::int64_t size = 0;
    /// For files: when one was last changed, in units of the file clock.
    std::optional<std::int64_t> modified;
    /// A digest of its first and last MiB.
    std::string digest;
    /// For devices, if the system knows.
    std::string model{};
    std::string serial{};
};

MediumIdentity IdentityOf(Medium& medium);

/// The values that the user gave, by option name; one empty word for a flag.
using Choices = std::map<std::string, std::vector<std::string>>;

/// The scan that a folder was begun with; stored there, so that every later run goes on with the same options.
struct ScanJob {
    /// The program and its version.
    std::string program;
    JournalHeader header;
    MediumIdentity medium;
    /// How many blocks a segment has.
    std::int64_t segmentBlocks = 1;
    /// A recovery's options for the files that it writes; nothing for a scan alone.
    std::optional<Choices> choices{};
};

ScanJob MakeScanJob(const JournalHeader& header, const MediumIdentity& medium, std::int64_t segmentBlocks);

/// Nothing if no scan was begun there. Throws `Failure` (not started) if the file is damaged or from another version.
std::optional<ScanJob> ReadScanJob(const Folder& folder);

/// Throws `Failure` (not started) if it cannot be stored, or if another run has begun a different scan there in the
/// meantime.
void WriteScanJob(const Folder& folder, const ScanJob& job);

/// How the medium differs from before, for messages; empty if it does not.
std::string ChangeOf(const MediumIdentity& then, const MediumIdentity& now);

/// The key of the journals of its segments.
ScanKey KeyOf(const ScanJob& job);

ScanRequest RequestOf(const JournalHeader& header);

}  // namespace salvor
