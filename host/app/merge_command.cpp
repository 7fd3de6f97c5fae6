#include <memory>
#include <string>

#include "host/app/command.h"
#include "host/app/finds_use.h"
#include "host/app/folder_scan.h"
#include "host/app/options.h"
#include "host/say/say.h"

namespace salvor {

namespace {

struct MergeCommand {
    std::string folder;
    ImageSpec image;
    JobOptions job;
    bool quiet = false;
};

ExitStatus RunMerge(const MergeCommand& command) {
    FolderScan scan = ReopenFolderScan(command.folder, command.image, command.job);
    scan.quiet = command.quiet;
    const OutFolder out = PrepareOutFolder(command.folder, JobOf(scan.job.header),
                                           {scan.scan.medium.Image().Files(), ""}, FolderUse::GoOn);
    const ScanOutcome outcome = JoinFolderScan(scan, out.folder);
    if (!outcome.complete) {
        Say("stopped; the same command goes on");
        return ExitStatus::Stopped;
    }
    if (!command.quiet) {
        Tell(ScanTable(outcome.summary));
    }
    return StatusOf(outcome);
}

}  // namespace

Command MergeCommandLine() {
    const auto command = std::make_shared<MergeCommand>();
    Command line{
        .name = "merge", .description = "Join the segments of a scan made by several machines", .group = "In steps"};
    line.options.push_back({.name = "DIR",
                            .target = &command->folder,
                            .help = "Folder given to 'salvor scan --segment' as --job",
                            .isRequired = true});
    AddOtherImage(line, command->image.path);
    AddImageOptions(line, command->image);
    AddJobOptions(line, command->job);
    AddQuiet(line, command->quiet);
    line.footer = "Example: salvor merge /shared/case12";
    line.run = [command] {
        return RunMerge(*command);
    };
    return line;
}

}  // namespace salvor
