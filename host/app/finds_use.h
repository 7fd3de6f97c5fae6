#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/files/extract_run.h"
#include "host/files/out_folder.h"
#include "host/medium/scan_medium.h"
#include "host/plan/plan.h"
#include "host/scan/journal.h"

namespace salvor {

/// The finds of a scan and the medium on which they were made, opened again. What is not as the scan left it is told
/// to the person.
struct FindsUse {
    /// `other` stands for the image that the finds name, unless its path is empty; its format, if given, does in any
    /// case. Throws `Failure` (not started) if one of them cannot be used.
    FindsUse(const std::string& path, const ImageSpec& other, bool skipBad);

    /// Nothing was lost between the scan and what is used of it now.
    bool IsWhole() const;

    Journal journal;
    ImageSpec image;
    ScanMedium medium;

private:
    void SayIfResized() const;
};

JobIdentity JobOf(const JournalHeader& header);

/// Refuses to write to `path`, which `option` named, if that would touch the medium. Throws `Failure` (usage).
void RequireOwnFile(const char* option, const std::string& path, const std::vector<std::string>& imageFiles);

/// What is asked of file systems.
struct FileSystemUse {
    /// Nothing.
    bool isOff = false;
    /// "start" or "original".
    std::string names = "start";
};

/// Validates unless the files are wanted as reported, asks the file systems what they know, and writes the files or one
/// piece of them.
ExitStatus ExtractSeen(const ScanMedium& medium, Sightings seen, const FindsOrigin& origin, PlanFilter filter,
                       const ContentFilter& content, const FileSystemUse& fileSystems, const OutFolder& out,
                       const std::optional<Piece>& piece, bool quiet);

}  // namespace salvor
