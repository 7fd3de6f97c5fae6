#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "host/app/command.h"
#include "host/app/scan_run.h"
#include "host/files/out_folder.h"
#include "host/platform/folder.h"
#include "host/records/piece.h"
#include "host/say/failure.h"
#include "host/scan/scan_job.h"

namespace salvor {

/// How to scan in a folder, as the user gave it.
struct JobOptions {
    /// Worker processes; empty for one per core, but a single one for a rotating disk.
    std::string jobs;
    /// The size of a segment; empty for one that suits the medium.
    std::string segmentSize;
    /// Go on although the medium has changed.
    bool changedMedium = false;
};

inline constexpr const char* JobsHelp =
    "Worker processes (default: one per core, but a single one for a rotating disk)";

/// The number of workers from the value of `--jobs`, which may be empty. Throws `Failure` (usage).
int WorkersFor(const std::string& jobs, const Medium& medium);

void AddJobOptions(Command& command, JobOptions& options);

/// The name of the finds in a job's folder.
inline constexpr const char* JobFindsName = "finds.jsonl";

/// A scan that begins or goes on in a folder.
struct FolderScan {
    PreparedScan scan;
    ScanJob job;
    int workers = 1;
    /// The folder holds nothing of it yet.
    bool isNew = true;
    bool quiet = false;
    /// What the folder is allowed to hold.
    FolderUse use = FolderUse::New;
};

/// Opens the image and looks for a scan to go on with in the folder, which need not exist. If that scan has options
/// other than the defaults, the user is shown them. `anew` begins another scan in its place. Throws `Failure` (usage)
/// for options that differ from those of the scan in the folder, and for a medium that has changed since.
FolderScan BeginFolderScan(const std::filesystem::path& folder, ScanOptions options,
                           const std::vector<std::int32_t>& types, const JobOptions& jobOptions, bool anew);

/// The scan in the folder, on the image that it was begun on, or on `image` if its path is not empty. Throws `Failure`
/// if there is none.
FolderScan ReopenFolderScan(const std::filesystem::path& folder, const ImageSpec& image, const JobOptions& jobOptions);

/// Parses "3/16". Throws `Failure` (usage).
Piece ParsePiece(const std::string& text);

/// Scans what is left of a piece; gives the exit status.
ExitStatus ScanFolderPiece(FolderScan& scan, const Folder& folder, Piece piece);

/// Scans what is left and joins everything into a journal, piece by piece; the outcome then has no finds. If no worker
/// process can be started, it scans in this one.
ScanOutcome ScanFolderInto(FolderScan& scan, const Folder& folder, JournalWriter& journal);

/// The same into the finds file of the folder, unless an earlier run has written it. The segments of a complete scan
/// are removed unless they are to be kept.
ScanOutcome ScanFolderToEnd(FolderScan& scan, const Folder& folder, bool keepsSegments);

/// Joins the scanned segments into the finds file. Throws `Failure` (not started) that names what is left to scan.
ScanOutcome JoinFolderScan(FolderScan& scan, const Folder& folder);

/// The contents of a complete scan's finds file.
Sightings SeenInJob(const FolderScan& scan, const Folder& folder);

/// The exit status of a scan that lost or did not finish something.
ExitStatus StatusOf(const ScanOutcome& outcome);

}  // namespace salvor
