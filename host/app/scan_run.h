#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/medium/scan_medium.h"
#include "host/scan/journal.h"

namespace salvor {

/// Where and how to look for files, as the user gave it.
struct ScanOptions {
    ImageSpec image;
    std::string sectorSize = "512";
    std::string blockSize = "1M";
    /// In sectors; an empty length means up to the medium's end.
    std::string start = "0";
    std::string length;
    /// The number of the volume to scan, in place of a range; empty for none.
    std::string volume;
    /// Which part of the range is scanned; a word of `SpaceWord`.
    std::string space = "all";
    /// Do not try the sectors inside bad stretches.
    bool skipBad = false;
    /// Also accept a device with file systems that are mounted for writing.
    bool mounted = false;
    /// Words such as "png=50M".
    std::vector<std::string> caps;
};

/// A scan with options that were checked against the image and the library.
struct PreparedScan {
    ScanMedium medium;
    JournalHeader header;
};

/// Opens the image and checks the options. Throws `Failure` (usage or not started).
PreparedScan PrepareScan(const ScanOptions& options, const std::vector<std::int32_t>& types);

/// Finds out which part of the image to scan, if not all of it. Throws `Failure` (not started) if that is empty.
void FindSpace(PreparedScan& scan, const ScanOptions& options);

/// Opens the image for a scan that was begun before. Throws `Failure` (not started).
PreparedScan ReopenScan(const JournalHeader& header, const ImageSpec& image, bool skipBad);

struct ScanOutcome {
    bool complete = false;
    Sightings seen;
    std::vector<BlocksSetAside> setAside{};
    ScanSummary summary;
};

/// Notes in the outcome the sectors that could not be read so far: as sectors of what is scanned, and in the summary as
/// sectors of the image.
void NoteUnreadable(const ScanMedium& medium, ScanOutcome& outcome);

/// Scans and shows progress, writing every find to the journal before it goes on. Throws `Failure` if the journal
/// cannot be written.
ScanOutcome RunScanWithJournal(PreparedScan& scan, JournalWriter& journal, bool quiet);

/// A table of what a scan found, how fast, and what it could not read.
std::string ScanTable(const ScanSummary& summary);

}  // namespace salvor
