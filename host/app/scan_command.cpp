#include <fmt/format.h>

#include <filesystem>
#include <memory>
#include <optional>
#include <system_error>

#include "host/app/command.h"
#include "host/app/finds_use.h"
#include "host/app/folder_scan.h"
#include "host/app/options.h"
#include "host/platform/process.h"
#include "host/platform/same_disk.h"
#include "host/say/say.h"
#include "host/scan/journal.h"

namespace salvor {

namespace {

struct ScanCommand {
    ScanOptions scan;
    FilterOptions filter;
    JobOptions job;
    std::string report;
    std::string folder;
    std::string segment;
    bool overwrite = false;
    bool quiet = false;
};

void SayThatItGoesOn() { Say("stopped; the same command goes on"); }

// Scans in this process, with a report that grows as finds come.
ExitStatus ScanInto(const FilePlace& report, const ScanCommand& command) {
    PreparedScan scan = PrepareScan(command.scan, SelectTypes(command.filter));
    FindSpace(scan, command.scan);
    if (command.report != "-") {
        RequireOwnFile("--report", command.report, scan.medium.Image().Files());
    }
    JournalWriter journal(report, scan.header);
    GiveUpRootRights();
    const ScanOutcome outcome = RunScanWithJournal(scan, journal, command.quiet);
    if (!command.quiet && command.report != "-") {
        Tell(ScanTable(outcome.summary));
    }
    return StatusOf(outcome);
}

FolderScan BeginIn(const std::filesystem::path& folder, const ScanCommand& command) {
    FolderScan scan =
        BeginFolderScan(folder, command.scan, SelectTypes(command.filter), command.job, command.overwrite);
    scan.quiet = command.quiet;
    return scan;
}

ExitStatus TellEnd(const ScanOutcome& outcome, bool quiet) {
    if (!outcome.complete) {
        SayThatItGoesOn();
    } else if (!quiet) {
        Tell(ScanTable(outcome.summary));
    }
    return StatusOf(outcome);
}

// Scans in a folder beside the report, which is removed when the report is complete.
ExitStatus ScanBeside(const ScanCommand& command) {
    const std::filesystem::path folder = command.report + ".job";
    FolderScan scan = BeginIn(folder, command);
    RequireOwnFile("--report", command.report, scan.scan.medium.Image().Files());
    if (scan.isNew && HoldsBytes(command.report) && !command.overwrite) {
        throw Failure(ExitStatus::Usage,
                      fmt::format("the finds file '{}' exists; name another one, or pass --overwrite to replace it",
                                  command.report));
    }
    // Created while there are still the rights to do so.
    JournalWriter journal(FilePlace(command.report), scan.scan.header);
    const OutFolder out =
        PrepareOutFolder(folder, JobOf(scan.job.header), {scan.scan.medium.Image().Files(), ""}, scan.use);
    const ScanOutcome outcome = ScanFolderInto(scan, out.folder, journal);
    if (outcome.complete) {
        std::error_code none;
        std::filesystem::remove_all(folder, none);
    }
    return TellEnd(outcome, command.quiet);
}

ExitStatus ScanInFolder(const ScanCommand& command) {
    const std::optional<Piece> piece =
        command.segment.empty() ? std::nullopt : std::optional(ParsePiece(command.segment));
    if (piece && command.overwrite) {
        throw Failure(ExitStatus::Usage, "--overwrite would take away what was scanned of the other segments");
    }
    FolderScan scan = BeginIn(command.folder, command);
    const OutFolder out = PrepareOutFolder(command.folder, JobOf(scan.job.header),
                                           {scan.scan.medium.Image().Files(), ""}, piece ? FolderUse::Share : scan.use);
    if (piece) {
        const ExitStatus status = ScanFolderPiece(scan, out.folder, *piece);
        if (status == ExitStatus::Stopped) {
            SayThatItGoesOn();
        }
        return status;
    }
    const ScanOutcome outcome = ScanFolderToEnd(scan, out.folder, /*keepsSegments=*/true);
    return TellEnd(outcome, command.quiet);
}

// True for a new file or one in place of an existing file. Links are followed, and pipes are written to while scanning.
bool IsPlainFile(const std::string& path) {
    const auto type = std::filesystem::symlink_status(path).type();
    return type == std::filesystem::file_type::not_found || type == std::filesystem::file_type::regular;
}

ExitStatus RunScan(const ScanCommand& command) {
    if (command.report.empty() == command.folder.empty()) {
        // Errors of the image are reported first.
        PrepareScan(command.scan, SelectTypes(command.filter));
        throw Failure(ExitStatus::Usage,
                      "scan needs --report or --job: name a file for the finds, - for standard output, or a folder");
    }
    if (!command.folder.empty()) {
        return ScanInFolder(command);
    }
    if (!command.segment.empty()) {
        throw Failure(ExitStatus::Usage, "--segment needs a folder that all segments share: --job DIR");
    }
    if (command.report == "-") {
        return ScanInto(FilePlace::StandardOutput(), command);
    }
    if (IsPlainFile(command.report)) {
        return ScanBeside(command);
    }
    return ScanInto(FilePlace(command.report), command);
}

}  // namespace

Command ScanCommandLine() {
    const auto command = std::make_shared<ScanCommand>();
    Command line{.name = "scan",
                 .description = "Look for files and note where they are; writes no recovered data",
                 .group = "In steps"};
    AddScanOptions(line, command->scan);
    AddSkipBad(line, command->scan.skipBad);
    AddTypeOptions(line, command->filter);
    line.options.push_back({.name = "--report",
                            .target = &command->report,
                            .help = "File for the finds; - for standard output",
                            .value = "FINDS",
                            .group = OutputGroup});
    line.options.push_back({.name = "--job",
                            .target = &command->folder,
                            .help = "Folder for the finds and the work in progress; a scan begun there goes on",
                            .value = "DIR",
                            .group = OutputGroup});
    line.options.push_back(
        {.name = "--segment",
         .target = &command->segment,
         .help = "Scan only one piece, such as 3/16, into a folder that all pieces share; 'salvor merge' joins them",
         .value = "N/M",
         .group = WorkGroup});
    AddJobOptions(line, command->job);
    line.options.push_back({.name = "--overwrite",
                            .target = &command->overwrite,
                            .help = "Replace an existing finds file or scan",
                            .group = OutputGroup});
    AddQuiet(line, command->quiet);
    line.footer = std::string(SizesLine) +
                  "A scan that was stopped goes on where it was when the same command is given again.\n"
                  "Example: salvor scan /dev/sdb --types jpg,png --report card.finds";
    line.run = [command] {
        return RunScan(*command);
    };
    return line;
}

}  // namespace salvor
