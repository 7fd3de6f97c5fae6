#include <fmt/format.h>

#include <filesystem>
#include <memory>
#include <optional>
#include <utility>

#include "host/app/command.h"
#include "host/app/finds_use.h"
#include "host/app/folder_scan.h"
#include "host/app/options.h"
#include "host/platform/process.h"
#include "host/platform/same_disk.h"
#include "host/platform/stop_request.h"
#include "host/say/say.h"
#include "host/validate/outcomes_file.h"
#include "host/validate/validate_run.h"
#include "host/volumes/learn.h"

namespace salvor {

namespace {

struct ValidateCommand {
    std::string finds;
    /// Used in place of the image that the finds name; an empty path means that one.
    ImageSpec image;
    /// Empty for a file beside the finds.
    std::string out;
    /// Do not try the sectors inside bad stretches.
    bool skipBad = false;
    /// "3/16"; empty for everything.
    std::string share;
    /// Worker processes; empty for a number that suits the machine.
    std::string jobs;
    bool noFileSystem = false;
    bool quiet = false;
};

ExitStatus RunValidate(const ValidateCommand& command) {
    FindsUse finds(command.finds, command.image, command.skipBad);
    const std::optional<Piece> share = command.share.empty() ? std::nullopt : std::optional(ParsePiece(command.share));
    const std::string outcomes = command.out.empty() ? OutcomesPathOf(command.finds) : command.out;
    const std::string out = share ? outcomes + SuffixOf(*share) : outcomes;
    RequireOwnFile("--out", out, finds.medium.Image().Files());
    if (IsSameFile(out, command.finds)) {
        throw Failure(ExitStatus::Usage, "--out names the finds file itself");
    }
    if (HoldsBytes(out) && !ReadOutcomes(FilePlace(out))) {
        throw Failure(ExitStatus::Usage,
                      fmt::format("'{}' holds something else than outcomes; name another file with --out", out));
    }
    const std::filesystem::path path = std::filesystem::absolute(out);
    const Folder folder = Folder::Open(path.parent_path());
    GiveUpRootRights(folder, /*isNew=*/false);
    ResultsPlace outcomesPlace{FilePlace(out)};
    std::optional<ResultsPlace> knowledge;
    if (!share) {
        outcomesPlace.earlier = SharesIn(folder, path.filename().string());
        if (!command.noFileSystem) {
            knowledge = {FilePlace(command.out.empty() ? KnownPathOf(command.finds) : command.out + ".known")};
        }
    }
    ValidateHow how{.image = finds.image,
                    .workers = WorkersFor(command.jobs, finds.medium.Image()),
                    .quiet = command.quiet,
                    .share = share,
                    .caps = finds.journal.header.caps};
    how.seeAgain = [&] {
        return finds.SeeAgain();
    };
    const Validation validation =
        ValidateWithFileSystems(finds.medium, std::move(finds.journal.seen), outcomesPlace, std::move(how), knowledge)
            .validation;
    if (share && !StopRequested()) {
        return validation.setAside.empty() ? ExitStatus::Done : ExitStatus::Losses;
    }
    if (!validation.complete || StopRequested()) {
        Say("stopped; 'salvor validate {}' goes on", ShellWord(command.finds));
        return ExitStatus::Stopped;
    }
    if (!command.quiet) {
        Tell(OutcomesTable(validation));
    }
    const bool isLossless =
        finds.IsWhole() && finds.medium.Scanned().Unreadable().SectorCount() == 0 && validation.setAside.empty();
    return isLossless ? ExitStatus::Done : ExitStatus::Losses;
}

}  // namespace

Command ValidateCommandLine() {
    const auto command = std::make_shared<ValidateCommand>();
    Command line{.name = "validate",
                 .description = "Find out what the files of a scan are, where they end and whether they are whole",
                 .group = "In steps"};
    AddFinds(line, command->finds, command->image);
    line.options.push_back({.name = "--out",
                            .target = &command->out,
                            .help = "File for the outcomes (default: beside the finds)",
                            .value = "FILE"});
    AddSkipBad(line, command->skipBad);
    line.options.push_back(
        {.name = "--jobs", .target = &command->jobs, .help = JobsHelp, .value = "NUMBER", .group = WorkGroup});
    line.options.push_back(
        {.name = "--segment",
         .target = &command->share,
         .help = "Validate only one share, such as 3/16; shares can be done on many machines, and a run without "
                 "--segment joins them",
         .value = "N/M",
         .group = WorkGroup});
    AddNoFileSystem(line, command->noFileSystem);
    AddQuiet(line, command->quiet);
    line.footer =
        "A run that was stopped goes on where it was. 'salvor extract' validates by itself.\n"
        "Example: salvor validate card.finds";
    line.run = [command] {
        return RunValidate(*command);
    };
    return line;
}

}  // namespace salvor
