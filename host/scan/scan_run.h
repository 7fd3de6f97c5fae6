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
    /// Which part of it is scanned; a word of `SpaceWord`.
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

/// Finds out which part of the image is to be scanned, if not all of it. Throws `Failure` (not started) if that is
/// empty.
void FindSpace(PreparedScan& scan, const ScanOptions& options);

/// Opens the image for a scan that was begun before. Throws `Failure` (not started).
PreparedScan ReopenScan(const JournalHeader& header, const ImageSpec& image, bool skipBad);

struct ScanOutcome {
    bool complete = false;
    Sightings seen;
    std::vector<BlocksSetAside> setAside{};
    ScanSummary summary;
};

/// Notes in the outcome what could not be read so far: in sectors of what is scanned, and in the summary in sectors of
/// the image.
void NoteUnreadable(const ScanMedium& medium, ScanOutcome& outcome);

/// Scans with progress for the person, writing every find to the journal before it goes on. Throws `Failure` when the
/// journal cannot be written.
ScanOutcome RunScanWithJournal(PreparedScan& scan, JournalWriter& journal, bool quiet);

/// What a scan found and how fast, and what it could not read, for the person.
std::string ScanTable(const ScanSummary& summary);

}  // namespace salvor
