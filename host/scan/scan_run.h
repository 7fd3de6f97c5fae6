#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/medium/scan_medium.h"
#include "host/scan/journal.h"

namespace salvor {

/// Where and how to look for files, as the person gave it.
struct ScanOptions {
    ImageSpec image;
    std::string sectorSize = "512";
    std::string blockSize = "1M";
    /// In sectors; an empty length goes to the medium's end.
    std::string start = "0";
    std::string length;
    /// The number of the volume to scan in place of such a range; empty for none.
    std::string volume;
    /// What of it is scanned; a word of `SpaceWord`.
    std::string space = "all";
    /// Leave the insides of bad stretches alone.
    bool skipBad = false;
    /// Also a device with file systems that are mounted for writing.
    bool mounted = false;
    /// Words such as "png=50M".
    std::vector<std::string> caps;
};

/// A scan as understood: checked against the image and the library.
struct PreparedScan {
    ScanMedium medium;
    JournalHeader header;
};

/// Opens the image and checks the options. Throws `Failure` (usage or not started).
PreparedScan PrepareScan(const ScanOptions& options, const std::vector<std::int32_t>& types);

/// Finds out what of the image is to be scanned, if that is not all. Throws `Failure` (not started) if nothing is.
void FindSpace(PreparedScan& scan, const ScanOptions& options);

/// Opens the image for a scan that was begun before. Throws `Failure` (not started).
PreparedScan ReopenScan(const JournalHeader& header, const ImageSpec& image, bool skipBad);

struct ScanOutcome {
    bool complete = false;
    Sightings seen;
    std::vector<BlocksSetAside> setAside{};
    ScanSummary summary;
};

/// What could not be read so far goes into the outcome: what was seen counts as scanning does, the summary counts the
/// image's sectors.
void NoteUnreadable(const ScanMedium& medium, ScanOutcome& outcome);

/// Scans with progress for the person, writing every find to the journal before it goes on. Throws `Failure` when the
/// journal cannot be written.
ScanOutcome RunScanWithJournal(PreparedScan& scan, JournalWriter& journal, bool quiet);

/// What a scan found and how fast, and what it could not read, for the person.
std::string ScanTable(const ScanSummary& summary);

}  // namespace salvor
