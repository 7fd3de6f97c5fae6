#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "host/app/command.h"
#include "host/files/out_folder.h"
#include "host/platform/folder.h"
#include "host/report/piece.h"
#include "host/say/failure.h"
#include "host/scan/scan_job.h"
#include "host/scan/scan_run.h"

namespace salvor {

/// How a scan is done in a folder, as the person gave it.
struct JobOptions {
    /// Worker processes; empty for one per core, but a single one for a rotating disk.
    std::string jobs;
    /// Of a segment; empty for what suits the medium.
    std::string segmentSize;
    /// Go on although the medium has changed.
    bool changedMedium = false;
};

inline constexpr const char* JobsHelp =
    "Worker processes (default: one per core, but a single one for a rotating disk)";

/// From what the person gave as `--jobs`, which may be empty. Throws `Failure` (usage).
int WorkersFor(const std::string& jobs, const Medium& medium);

void AddJobOptions(Command& command, JobOptions& options);

/// The name of the finds in a job's folder.
inline constexpr const char* JobFindsName = "finds.jsonl";

/// A scan that begins in a folder or goes on there.
struct JobScan {
    PreparedScan scan;
    ScanJob job;
    int workers = 1;
    /// Nothing of it is in the folder yet.
    bool isNew = true;
    bool quiet = false;
    /// What the folder may hold.
    FolderUse use = FolderUse::New;
};

/// Opens the image and looks for a scan to go on with in the folder, which need not exist. If that scan has options
/// other than the defaults, the person is told which. `anew` begins another one in its place. Throws `Failure`: usage
/// for options that are not those of the scan that is there, and for a medium that has changed since.
JobScan BeginJobScan(const std::filesystem::path& folder, const ScanOptions& options,
                     const std::vector<std::int32_t>& types, const JobOptions& jobOptions, bool anew);

/// The scan that is in the folder, on the image that it was begun on, or on `image` if its
/// path is not empty. Throws `Failure` if there is none.
JobScan ReopenJobScan(const std::filesystem::path& folder, const ImageSpec& image, const JobOptions& jobOptions);

/// From "3/16". Throws `Failure` (usage).
Piece ParsePiece(const std::string& text);

/// Scans what is left of a piece; how that ended.
ExitStatus ScanJobPiece(JobScan& scan, const Folder& folder, Piece piece);

/// Scans what is left and joins all into a journal, piece by piece; the outcome has no finds then. Where no worker
/// process can be started it scans in this one.
ScanOutcome ScanJobInto(JobScan& scan, const Folder& folder, JournalWriter& journal);

/// The same into the finds file of the folder, unless an earlier run has written that. The segments of a complete scan
/// are removed unless they are to be kept.
ScanOutcome ScanJobToEnd(JobScan& scan, const Folder& folder, bool keepsSegments);

/// Joins what has been scanned into the finds file. Throws `Failure` (not started) naming what is left to scan.
ScanOutcome JoinJobScan(JobScan& scan, const Folder& folder);

/// What the finds file of a complete scan holds.
Sightings SeenInJob(const JobScan& scan, const Folder& folder);

/// The exit status of a scan that lost or did not finish something.
ExitStatus StatusOf(const ScanOutcome& outcome);

}  // namespace salvor
