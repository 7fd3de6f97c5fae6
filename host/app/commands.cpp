#include "host/app/commands.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>

#include "host/app/say.h"
#include "host/app/selection.h"
#include "host/files/extract_run.h"
#include "host/files/out_folder.h"
#include "host/platform/process.h"
#include "host/platform/same_disk.h"
#include "host/platform/stop_request.h"
#include "host/scan/journal.h"
#include "host/scan/scan_run.h"
#include "host/validate/outcomes_file.h"
#include "host/validate/validate_run.h"

namespace salvor {

namespace {

// What is written never touches the medium.
void RequireOwnFile(const char* option, const std::string& path, const std::string& image) {
    if (IsSameFile(path, image)) {
        throw Failure(ExitStatus::Usage, fmt::format("{} names the image itself, which is never written to", option));
    }
    if (std::filesystem::is_block_file(path)) {
        throw Failure(ExitStatus::Usage, fmt::format("{} names a block device; name a file", option));
    }
    RefuseSameDevice(path, image);
}

// Where the finds of a scan go.
FilePlace NewReport(const ScanCommand& command) {
    if (command.report == "-") {
        return FilePlace::StandardOutput();
    }
    RequireOwnFile("--report", command.report, command.scan.image);
    if (HoldsBytes(command.report) && !command.overwrite) {
        throw Failure(ExitStatus::Usage,
                      fmt::format("the finds file '{}' exists; name another one, or pass --overwrite to replace it",
                                  command.report));
    }
    return {command.report};
}

ExitStatus StatusOf(const ScanOutcome& outcome) {
    if (!outcome.complete) {
        return ExitStatus::Stopped;
    }
    return outcome.summary.unreadable.empty() ? ExitStatus::Done : ExitStatus::Losses;
}

JobIdentity JobOf(const JournalHeader& header) { return {header.imagePath, header.imageSize, header.sectorSize}; }

// The finds of a scan and the medium on which they were made.
struct FindsUse {
    FindsUse(const std::string& path, const std::string& otherImage, bool skipBad)
        : journal(ReadJournal(FilePlace(path))),
          image(otherImage.empty() ? journal.header.imagePath : otherImage),
          medium(OpenImage(image), journal.header.sectorSize, {skipBad, StopRequested}) {
        SayIfResized();
        if (otherImage.empty()) {
            medium.NoteUnreadable(journal.seen.unreadable);
        } else {
            // A copy may hold what the first medium did not give.
            journal.seen.unreadable.clear();
        }
        if (journal.damagedLines > 0) {
            Say("{} lines of the finds file '{}' are damaged and passed over", journal.damagedLines, path);
        }
        if (!journal.complete) {
            Say("the scan behind '{}' did not end; its {} finds are used", path, journal.seen.finds.size());
        }
    }

    // Nothing was lost between the scan and what is used of it now.
    bool IsWhole() const {
        return journal.complete && journal.damagedLines == 0 && medium.SizeInBytes() >= journal.header.imageSize;
    }

    Journal journal;
    std::string image;
    Medium medium;

private:
    void SayIfResized() const {
        const std::int64_t then = journal.header.imageSize;
        if (medium.SizeInBytes() > then) {
            Say("the image '{}' has grown from {} to {} bytes since the scan; scan again to find what begins in the "
                "new "
                "part",
                image, then, medium.SizeInBytes());
        } else if (medium.SizeInBytes() < journal.header.imageSize) {
            const auto isThere = [this](const Find& find) {
                return find.startSector < medium.SectorCount();
            };
            Say("the image '{}' has {} bytes, but had {} when it was scanned: {} of {} finds begin in what is there; "
                "if "
                "it is another image, name the right one with --image",
                image, medium.SizeInBytes(), then, std::ranges::count_if(journal.seen.finds, isThere),
                journal.seen.finds.size());
        }
    }
};

// Validates, unless what scanners report is wanted, and writes the files.
ExitStatus ExtractSeen(Medium& medium, const Sightings& seen, const FindsOrigin& origin, const PlanFilter& filter,
                       const OutFolder& out, bool quiet) {
    Validation validation;
    if (filter.asReported) {
        validation = {ReportedOutcomes(seen.finds, {medium.SizeInBytes(), medium.SectorSize()}, filter.types), true};
    } else {
        // Nobody named it, so no link leads to it and no pipe is waited for.
        const std::filesystem::path beside = std::filesystem::absolute(OutcomesPathOf(origin.findsPath));
        const Folder folder = Folder::Open(beside.parent_path());
        validation = ValidateWithFile(medium, seen, origin.caps, {out.folder, "outcomes.jsonl"},
                                      FilePlace(folder, beside.filename().string()), quiet);
    }
    if (!validation.complete || StopRequested()) {
        Say("stopped before a file was written; 'salvor extract {} --out {}' goes on", ShellWord(origin.findsPath),
            ShellWord(out.folder.Path().string()));
    }
    return ExtractFiles(medium, validation.outcomes, origin, filter, out, quiet);
}

}  // namespace

ExitStatus RunScan(const ScanCommand& command) {
    PreparedScan scan = PrepareScan(command.scan, SelectTypes(command.filter));
    const FilePlace report = NewReport(command);
    JournalWriter journal(report, scan.header);
    GiveUpRootRights();
    const ScanOutcome outcome = RunScanWithJournal(scan, journal, command.quiet);
    if (!command.quiet && command.report != "-") {
        Tell(ScanTable(outcome.summary));
    }
    return StatusOf(outcome);
}

ExitStatus RunValidate(const ValidateCommand& command) {
    FindsUse finds(command.finds, command.image, command.skipBad);
    const std::string out = command.out.empty() ? OutcomesPathOf(command.finds) : command.out;
    RequireOwnFile("--out", out, finds.image);
    if (IsSameFile(out, command.finds)) {
        throw Failure(ExitStatus::Usage, "--out names the finds file itself");
    }
    if (HoldsBytes(out) && !ReadOutcomes(FilePlace(out))) {
        throw Failure(ExitStatus::Usage,
                      fmt::format("'{}' holds something else than outcomes; name another file with --out", out));
    }
    GiveUpRootRights(Folder::Open(std::filesystem::absolute(out).parent_path()), false);
    const Validation validation = ValidateWithFile(finds.medium, finds.journal.seen, finds.journal.header.caps,
                                                   FilePlace(out), {}, command.quiet);
    if (!validation.complete) {
        Say("stopped; 'salvor validate {}' goes on", ShellWord(command.finds));
        return ExitStatus::Stopped;
    }
    if (!command.quiet) {
        Tell(OutcomesTable(validation));
    }
    const bool isLossless = finds.IsWhole() && finds.medium.Unreadable().SectorCount() == 0;
    return isLossless ? ExitStatus::Done : ExitStatus::Losses;
}

ExitStatus RunExtract(const ExtractCommand& command) {
    PlanFilter filter = MakeFilter(command.filter);
    FindsUse finds(command.finds, command.image, command.skipBad);
    const JournalHeader& header = finds.journal.header;
    // The validators see files of types that the scan was not asked for.
    std::erase_if(filter.types,
                  [&](std::int32_t type) { return std::ranges::find(header.types, type) == header.types.end(); });
    const OutFolder out = PrepareOutFolder(command.out, JobOf(header), {finds.image, command.finds},
                                           command.overwrite ? FolderUse::Overwrite : FolderUse::GoOn);
    const FindsOrigin origin{finds.image, command.finds, finds.journal.complete, header.caps};
    const ExitStatus status = ExtractSeen(finds.medium, finds.journal.seen, origin, filter, out, command.quiet);
    // Of files that the finds do not name nobody knows.
    return status == ExitStatus::Done && !finds.IsWhole() ? ExitStatus::Losses : status;
}

ExitStatus RunRecover(const RecoverCommand& command) {
    const PlanFilter filter = MakeFilter(command.filter);
    PreparedScan scan = PrepareScan(command.scan, filter.types);
    const OutFolder out = PrepareOutFolder(command.out, JobOf(scan.header), {command.scan.image, ""},
                                           command.overwrite ? FolderUse::Overwrite : FolderUse::New);
    const FilePlace finds(out.folder, "finds.jsonl");
    JournalWriter journal(finds, scan.header);
    const ScanOutcome outcome = RunScanWithJournal(scan, journal, command.quiet);
    if (!command.quiet) {
        Tell(ScanTable(outcome.summary));
    }
    const FindsOrigin origin{scan.header.imagePath, finds.Text(), outcome.complete, scan.header.caps};
    return ExtractSeen(*scan.medium, outcome.seen, origin, filter, out, command.quiet);
}

}  // namespace salvor
