#include <algorithm>
#include <memory>
#include <optional>
#include <utility>

#include "host/app/command.h"
#include "host/app/finds_use.h"
#include "host/app/folder_scan.h"
#include "host/app/options.h"

namespace salvor {

namespace {

struct ExtractCommand {
    std::string finds;
    /// Used in place of the image that the finds name; an empty path means that one.
    ImageSpec image;
    FilterOptions filter;
    FileSystemUse fileSystems;
    std::string out;
    /// Do not try the sectors inside bad stretches.
    bool skipBad = false;
    bool overwrite = false;
    /// "3/16"; empty for everything.
    std::string segment;
    bool quiet = false;
};

FolderUse UseOf(const ExtractCommand& command, const std::optional<Piece>& piece) {
    if (piece && command.overwrite) {
        throw Failure(ExitStatus::Usage, "--overwrite would write over what the other segments write");
    }
    if (piece && command.filter.unique) {
        throw Failure(ExitStatus::Usage, "--segment does not see the files of other segments; leave out --unique");
    }
    return piece ? FolderUse::Share : command.overwrite ? FolderUse::Overwrite : FolderUse::GoOn;
}

ExitStatus RunExtract(const ExtractCommand& command) {
    PlanFilter filter = MakeFilter(command.filter);
    const std::optional<Piece> piece =
        command.segment.empty() ? std::nullopt : std::optional(ParsePiece(command.segment));
    const FolderUse use = UseOf(command, piece);
    const ContentFilter content = MakeContentFilter(command.filter);
    FindsUse finds(command.finds, command.image, command.skipBad);
    const JournalHeader& header = finds.journal.header;
    // The validators also find files of types that the scan did not look for.
    std::erase_if(filter.types,
                  [&](std::int32_t type) { return std::ranges::find(header.types, type) == header.types.end(); });
    const OutFolder out =
        PrepareOutFolder(command.out, JobOf(header), {finds.medium.Image().Files(), command.finds}, use);
    const FindsOrigin origin{finds.image,
                             command.finds,
                             finds.journal.complete,
                             header.caps,
                             SetAsideToJson(header, finds.journal.setAside),
                             finds.medium.OnImage(finds.journal.seen.zeros)};
    const ExitStatus status = ExtractSeen({.medium = finds.medium,
                                           .seen = std::move(finds.journal.seen),
                                           .seeAgain = [&finds] { return finds.SeeAgain(); },
                                           .origin = origin,
                                           .filter = std::move(filter),
                                           .content = content,
                                           .fileSystems = command.fileSystems,
                                           .out = out,
                                           .piece = piece,
                                           .quiet = command.quiet});
    // Files whose finds were lost are missing from this run.
    return status == ExitStatus::Done && !finds.IsWhole() ? ExitStatus::Losses : status;
}

}  // namespace

Command ExtractCommandLine() {
    const auto command = std::make_shared<ExtractCommand>();
    Command line{.name = "extract", .description = "Write the files that a scan has found", .group = "In steps"};
    AddFinds(line, command->finds, command->image);
    AddFilterOptions(line, command->filter, command->fileSystems);
    AddOutOptions(line, "new, empty, or of an earlier run on the image", command->out, command->overwrite);
    AddSkipBad(line, command->skipBad);
    line.options.push_back(
        {.name = "--segment",
         .target = &command->segment,
         .help = "Write only one piece of the files, such as 3/16; pieces can be written on many machines, and a run "
                 "without --segment joins them",
         .value = "N/M",
         .group = WorkGroup});
    AddQuiet(line, command->quiet);
    line.footer = std::string(SizesLine) +
                  "A second run into the same folder completes what is missing.\n"
                  "Example: salvor extract card.finds --out photos --min-size jpg=100K";
    line.run = [command] {
        return RunExtract(*command);
    };
    return line;
}

}  // namespace salvor
