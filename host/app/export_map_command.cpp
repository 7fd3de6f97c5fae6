#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "host/app/command.h"
#include "host/app/finds_use.h"
#include "host/app/options.h"
#include "host/medium/rescue_map.h"
#include "host/platform/same_disk.h"
#include "host/platform/stop_request.h"
#include "host/records/line_log.h"
#include "host/say/say.h"
#include "host/say/size_text.h"
#include "host/validate/outcomes_file.h"
#include "host/validate/validate_run.h"
#include "host/volumes/learn.h"

namespace salvor {

namespace {

struct ExportMapCommand {
    std::string finds;
    ImageSpec image;
    std::string out;
    bool overwrite = false;
    bool noFileSystem = false;
    bool quiet = false;
};

// Adds the parts of a file that have not been read. If the file ends at an unread area, it may go on there.
void AddMissing(SectorRange file, const SectorRangeSet& unread, std::int64_t sectorSize, SectorRangeSet& missing) {
    const std::int64_t mostBehind = (std::int64_t{16} << 20U) / sectorSize;
    const std::int64_t end = file.first + file.count;
    for (std::int64_t at = file.first; at <= end;) {
        const SectorRange bad = unread.NextFrom(at);
        const std::int64_t from = std::max(bad.first, at);
        if (bad.count == 0 || from > end) {
            break;
        }
        const std::int64_t to = std::min(bad.first + bad.count, end + mostBehind);
        missing.Add({from, to - from});
        at = bad.first + bad.count;
    }
}

SectorRangeSet MissingParts(const Outcomes& outcomes, const SectorRangeSet& unread, std::int64_t sectorSize) {
    SectorRangeSet missing;
    for (const Outcome& outcome : outcomes) {
        const Verdict verdict = outcome.finding.verdict;
        if (verdict == Verdict::NoFile || verdict == Verdict::Whole) {
            continue;
        }
        for (const Extent& extent : outcome.place->extents) {
            if (!extent.IsHole()) {
                AddMissing({extent.startSector, (extent.bytes - 1) / sectorSize + 1}, unread, sectorSize, missing);
            }
        }
        if (outcome.place->extents.empty()) {
            // A file that is cut at a missing area may be as long as the scanners reported.
            std::int64_t size = std::max<std::int64_t>(outcome.finding.size, 1);
            for (const ReportedClaim& claim : outcome.reported) {
                size = std::max(size, claim.size);
            }
            AddMissing({outcome.startSector, (size - 1) / sectorSize + 1}, unread, sectorSize, missing);
        }
    }
    return missing;
}

ExitStatus RunExportMap(const ExportMapCommand& command) {
    FindsUse finds(command.finds, command.image, /*skipBad=*/false);
    Medium& medium = finds.medium.Scanned();
    RequireOwnFile("--out", command.out, medium.Files());
    if (HoldsBytes(command.out) && !command.overwrite) {
        throw Failure(ExitStatus::Usage,
                      fmt::format("'{}' exists; name another file, or pass --overwrite to replace it", command.out));
    }
    const std::optional<ResultsPlace> knowledge =
        command.noFileSystem ? std::nullopt : std::optional(ResultsPlace{FilePlace(KnownPathOf(command.finds))});
    ValidateHow how{.image = finds.image, .quiet = command.quiet, .caps = finds.journal.header.caps};
    how.seeAgain = [&] {
        return finds.SeeAgain();
    };
    const Validation validation =
        ValidateWithFileSystems(finds.medium, std::move(finds.journal.seen), {FilePlace(OutcomesPathOf(command.finds))},
                                std::move(how), knowledge)
            .validation;
    if (!validation.complete || StopRequested()) {
        return ExitStatus::Stopped;
    }
    const std::int64_t sectorSize = medium.SectorSize();
    const std::int64_t imageBytes = finds.medium.Image().SizeInBytes();
    const SectorRangeSet missing = MissingParts(validation.outcomes, medium.Unreadable(), sectorSize);
    std::vector<ByteRange> areas;
    for (const SectorRange& range : finds.medium.OnImage(missing.Ranges())) {
        const std::int64_t first = range.first * sectorSize;
        areas.push_back({first, std::min(range.count * sectorSize, imageBytes - first)});
    }
    LineLog log(FilePlace(command.out), "map");
    log.Add(MapOfAreas(areas, imageBytes));
    log.Sync();
    if (!command.quiet) {
        Tell(fmt::format("worth reading next: {} with {}\n", Counted(std::ssize(areas), "area"),
                         FormatSize(missing.SectorCount() * sectorSize)));
    }
    return finds.IsWhole() ? ExitStatus::Done : ExitStatus::Losses;
}

}  // namespace

Command ExportMapCommandLine() {
    const auto command = std::make_shared<ExportMapCommand>();
    Command line{.name = "export-map",
                 .description = "Map the areas to rescue next, to complete files that a scan has found",
                 .group = "Looking and choosing"};
    AddFinds(line, command->finds, command->image);
    line.options.push_back({.name = "--out",
                            .target = &command->out,
                            .help = "Map file for GNU ddrescue's --domain-mapfile",
                            .value = "MAP",
                            .isRequired = true});
    line.options.push_back({.name = "--overwrite", .target = &command->overwrite, .help = "Replace an existing file"});
    AddNoFileSystem(line, command->noFileSystem);
    AddQuiet(line, command->quiet);
    line.footer = "Example: salvor export-map card.finds --out next.map";
    line.run = [command] {
        return RunExportMap(*command);
    };
    return line;
}

}  // namespace salvor
