#include <algorithm>
#include <filesystem>
#include <memory>
#include <optional>
#include <system_error>
#include <utility>

#include "host/app/choices.h"
#include "host/app/command.h"
#include "host/app/finds_use.h"
#include "host/app/folder_scan.h"
#include "host/app/options.h"
#include "host/say/say.h"
#include "host/scan/journal.h"

namespace salvor {

namespace {

struct RecoverCommand {
    ScanOptions scan;
    FilterOptions filter;
    FileSystemUse fileSystems;
    JobOptions job;
    std::string out;
    bool overwrite = false;
    bool quiet = false;
};

// True if the file systems should be asked while the medium is scanned. A device may have bad sectors, which are better
// found by one reader than by two, and a disk with moving heads would seek.
bool AsksAhead(const RecoverCommand& command, const FolderScan& scan, const Folder& folder) {
    return !command.fileSystems.isOff && !command.filter.asReported && scan.workers > 1 &&
           std::ranges::all_of(scan.scan.medium.Image().Files(),
                               [](const std::string& path) {
                                   // Once the rights of root are given up, it may be out of reach.
                                   std::error_code error;
                                   return std::filesystem::is_regular_file(path, error);
                               }) &&
           !folder.Entry(FolderKnownName);
}

// `chosen` was made from `command`.
ExitStatus RunRecover(const RecoverCommand& command, const ChosenOptions& chosen) {
    const Folder there = Folder::Open(command.out);
    const std::optional<ScanJob> kept = there.IsOpen() && !command.overwrite ? ReadScanJob(there) : std::nullopt;
    if (kept && kept->choices) {
        chosen.GoOnWith(*kept->choices, command.out);
    }
    const PlanFilter filter = MakeFilter(command.filter);
    const ContentFilter content = MakeContentFilter(command.filter);
    FolderScan scan = BeginFolderScan(command.out, command.scan, filter.types, command.job, command.overwrite);
    scan.quiet = command.quiet;
    if (scan.isNew) {
        scan.job.choices = chosen.Given();
    }
    const OutFolder out =
        PrepareOutFolder(command.out, JobOf(scan.job.header), {scan.scan.medium.Image().Files(), ""}, scan.use);
    std::optional<FileSystemsAhead> ahead;
    if (AsksAhead(command, scan, out.folder)) {
        ahead.emplace(scan.scan.medium.Image(), scan.scan.header.image);
    }
    const ScanOutcome outcome = ScanFolderToEnd(scan, out.folder, /*keepsSegments=*/false);
    if (!outcome.complete) {
        Say("stopped before a file was written; the same command goes on");
        return ExitStatus::Stopped;
    }
    if (!command.quiet) {
        Tell(ScanTable(outcome.summary));
    }
    const FilePlace finds(out.folder, JobFindsName);
    Sightings seen = SeenInJob(scan, out.folder);
    const FindsOrigin origin{scan.scan.header.image,
                             finds.Text(),
                             true,
                             scan.scan.header.caps,
                             SetAsideToJson(scan.job.header, outcome.setAside),
                             scan.scan.medium.OnImage(seen.zeros)};
    const ExitStatus status = ExtractSeen({.medium = scan.scan.medium,
                                           .seen = std::move(seen),
                                           .seeAgain = [&] { return SeenInJob(scan, out.folder); },
                                           .origin = origin,
                                           .filter = filter,
                                           .content = content,
                                           .fileSystems = command.fileSystems,
                                           .out = out,
                                           .piece = std::nullopt,
                                           .quiet = command.quiet,
                                           .ahead = ahead ? &*ahead : nullptr});
    return status == ExitStatus::Done ? StatusOf(outcome) : status;
}

}  // namespace

Command RecoverCommandLine() {
    const auto command = std::make_shared<RecoverCommand>();
    Command line{.name = "recover", .description = "Scan and write the files, in one go", .group = "In one go"};
    AddScanOptions(line, command->scan);
    AddSkipBad(line, command->scan.skipBad);
    AddFilterOptions(line, command->filter, command->fileSystems);
    AddJobOptions(line, command->job);
    AddOutOptions(line, "new, empty, or of a recovery that was stopped", command->out, command->overwrite);
    AddQuiet(line, command->quiet);
    line.footer = std::string(SizesLine) + "Example: salvor recover card.img --out recovered --types jpg,png";
    line.run = [command, chosen = ChosenOptions(line)] {
        return RunRecover(*command, chosen);
    };
    return line;
}

}  // namespace salvor
