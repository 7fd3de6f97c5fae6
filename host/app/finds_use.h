#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "host/files/extract_run.h"
#include "host/files/out_folder.h"
#include "host/medium/scan_medium.h"
#include "host/plan/plan.h"
#include "host/platform/file_place.h"
#include "host/scan/journal.h"
#include "host/validate/validate_run.h"
#include "host/volumes/known_files.h"
#include "host/volumes/learn.h"

namespace salvor {

/// The finds of a scan and the medium on which they were made, opened again. Tells the user what has changed since.
struct FindsUse {
    /// `other` replaces the image that the finds name, unless its path is empty; its format, if given, is used in any
    /// case. Throws `Failure` (not started) if the finds or the image cannot be used.
    FindsUse(const std::string& path, const ImageSpec& other, bool skipBad);

    /// True if nothing was lost between the scan and its use now.
    bool IsWhole() const;

    /// What the scan has seen, read once more.
    Sightings SeeAgain() const;

    Journal journal;
    ImageSpec image;
    ScanMedium medium;

private:
    void SayIfResized() const;

    std::string path_;
    std::vector<SectorRange> unreadable_;
};

JobIdentity JobOf(const JournalHeader& header);

/// Refuses to write to `path`, which `option` named, if that would touch the medium. Throws `Failure` (usage).
void RequireOwnFile(const char* option, const std::string& path, const std::vector<std::string>& imageFiles);

/// The name under which a folder of recovered files keeps what the file systems know.
inline constexpr const char* FolderKnownName = "known.jsonl";

/// What to ask the file systems for.
struct FileSystemUse {
    /// Ask them nothing.
    bool isOff = false;
    /// "start" or "original".
    std::string names = "start";
};

struct Validated {
    Validation validation;
    /// What the indices in the outcomes refer to.
    KnownFiles known;
};

/// Validates, knowing where the clusters of the file systems lie, and lets them improve the outcomes. What they know is
/// kept at `knowledge`; without it they are not asked. `ahead` is asking them already, or null. The grids and the space
/// of `how` are filled in here.
Validated ValidateWithFileSystems(const ScanMedium& medium, Sightings seen, const ResultsPlace& outcomes,
                                  ValidateHow how, const std::optional<ResultsPlace>& knowledge,
                                  FileSystemsAhead* ahead = nullptr);

/// What to write of what a scan has seen, and how. All that is referred to outlives the call.
struct ExtractRequest {
    const ScanMedium& medium;
    Sightings seen;
    /// Gives the sightings once more.
    std::function<Sightings()> seeAgain;
    const FindsOrigin& origin;
    PlanFilter filter;
    const ContentFilter& content;
    const FileSystemUse& fileSystems;
    const OutFolder& out;
    /// Only this piece of the files.
    std::optional<Piece> piece;
    bool quiet = false;
    /// If the file systems are being asked already; else null.
    FileSystemsAhead* ahead = nullptr;
};

/// Validates unless the files are wanted as reported, asks the file systems what they know, and writes the files or one
/// piece of them.
ExitStatus ExtractSeen(ExtractRequest request);

}  // namespace salvor
