#include "host/app/folder_scan.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <functional>
#include <optional>
#include <thread>
#include <utility>

#include "host/app/options.h"
#include "host/platform/same_disk.h"
#include "host/platform/stop_request.h"
#include "host/say/say.h"
#include "host/say/size_text.h"
#include "host/scan/scanners.h"
#include "host/scan/segment_plan.h"
#include "host/scan/segment_run.h"
#include "host/scan/segment_store.h"

namespace salvor {

namespace {

namespace fs = std::filesystem;

constexpr const char* FindsDraft = "finds.jsonl.part";

std::optional<std::int64_t> ParseCount(std::string_view text, std::int64_t most) {
    std::int64_t number = 0;
    const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool isGood = error == std::errc() && stop == text.data() + text.size() && number >= 1 && number <= most;
    return isGood ? std::optional(number) : std::nullopt;
}

std::int64_t SegmentBlocksFor(const JobOptions& options, const JournalHeader& header) {
    const ScanGrid grid = GridOf(RequestOf(header));
    if (options.segmentSize.empty()) {
        return SegmentBlocks(grid, header.sectorSize);
    }
    const auto size = ParseSize(options.segmentSize);
    if (!size) {
        throw Failure(ExitStatus::Usage, fmt::format("--segment-size: '{}' is not a size", options.segmentSize));
    }
    return std::max<std::int64_t>(*size / header.blockSize, 1);
}

void RequireSameMedium(const fs::path& folder, const ScanJob& job, const MediumIdentity& now, const std::string& image,
                       bool mayHaveChanged) {
    const std::string change = ChangeOf(job.medium, now);
    if (change.empty()) {
        return;
    }
    if (!mayHaveChanged) {
        throw Failure(
            ExitStatus::Usage,
            fmt::format("the image '{}' has changed since the scan in '{}' began: {}; name another folder, or "
                        "pass --changed-medium to go on all the same",
                        image, folder.string(), change));
    }
    Say("the image '{}' has changed since the scan began: {}", image, change);
}

// An option of the scan that was begun in a folder.
struct KeptOption {
    const char* name;
    // The value given now, compared with the default and with the folder's.
    bool isDefault;
    bool isSame;
    std::string kept;
};

std::string Text(const std::vector<std::int32_t>& types) {
    return types == AllTypes() ? "all types" : fmt::format("{}", fmt::join(types, ","));
}

std::string Text(const std::map<std::int32_t, std::int64_t>& caps) {
    std::string text;
    for (const auto& [type, cap] : caps) {
        text += fmt::format("{}{}={}", text.empty() ? "" : ",", type, cap);
    }
    return text;
}

std::string KindWord(const JournalHeader& header) {
    return std::string(SpaceWord(header.space ? header.space->Kind() : SpaceKind::All));
}

std::vector<KeptOption> Compare(const ScanOptions& options, const JournalHeader& asked, const JournalHeader& kept) {
    const ScanOptions defaults;
    const bool isWholeRange = options.volume.empty();
    return {{"--sector-size", options.sectorSize == defaults.sectorSize, asked.sectorSize == kept.sectorSize,
             std::to_string(kept.sectorSize)},
            {"--block-size", options.blockSize == defaults.blockSize, asked.blockSize == kept.blockSize,
             std::to_string(kept.blockSize)},
            {"--start", isWholeRange && options.start == defaults.start, asked.range.first == kept.range.first,
             std::to_string(kept.range.first)},
            {"--length", isWholeRange && options.length.empty(), asked.range.count == kept.range.count,
             std::to_string(kept.range.count)},
            {"--space", options.space == defaults.space, options.space == KindWord(kept), KindWord(kept)},
            {"--types", asked.types.size() == AllTypes().size(), asked.types == kept.types, Text(kept.types)},
            {"--cap", options.caps.empty(), asked.caps == kept.caps, Text(kept.caps)}};
}

// Refuses options that differ from those that the folder was begun with; takes over those that were not given.
void RequireSameOptions(const fs::path& folder, const ScanOptions& options, const JournalHeader& asked,
                        const JournalHeader& kept) {
    for (const KeptOption& option : Compare(options, asked, kept)) {
        if (option.isSame) {
            continue;
        }
        if (!option.isDefault) {
            throw Failure(
                ExitStatus::Usage,
                fmt::format("the scan in '{}' was begun with {} {}; leave the option out to go on with it, or "
                            "name another folder",
                            folder.string(), option.name, option.kept.empty() ? "as it is by default" : option.kept));
        }
        Say("goes on with {} {}", option.name, option.kept.empty() ? "as it is by default" : option.kept);
    }
}

// True if the folder holds only what a run makes before it scans.
bool IsBarelyBegun(const Folder& folder) {
    return !folder.AnyEntry([&folder](const std::string& name) {
        if (name == SegmentStore::FolderName) {
            const Folder segments = folder.Below(name, /*make=*/false);
            return !segments.IsOpen() || segments.AnyEntry([](const std::string& /*any*/) { return true; });
        }
        return name != "job.json" && name != "job.lock" && !name.starts_with("job.json.part") &&
               !name.starts_with("scan.json.");
    });
}

SegmentRunOptions RunOptionsOf(const FolderScan& scan, const ScanGrid& grid) {
    SegmentRunOptions options;
    options.request = RequestOf(scan.job.header);
    options.image = scan.scan.header.image;
    options.blocks = {0, grid.BlockCount()};
    options.segmentBlocks = scan.job.segmentBlocks;
    options.workers = scan.workers;
    options.quiet = scan.quiet;
    options.space = scan.job.header.space;
    return options;
}

SegmentStore StoreOf(FolderScan& scan, const Folder& folder) {
    SegmentStore store(folder, KeyOf(scan.job), GridOf(RequestOf(scan.job.header)));
    if (scan.isNew) {
        store.Clear();
        folder.Remove(JobFindsName);
        WriteScanJob(folder, scan.job);
        scan.isNew = false;
    }
    return store;
}

// Fills in what an outcome has besides finds.
void Conclude(ScanOutcome& outcome, const FolderScan& scan) {
    outcome.summary.complete = outcome.complete;
    const Medium& medium = scan.scan.medium.Scanned();
    const SectorRange range = scan.job.header.ScannedRange();
    outcome.summary.bytesScanned = std::min((range.first + range.count) * medium.SectorSize(), medium.SizeInBytes()) -
                                   range.first * medium.SectorSize();
    // Includes what a rescue map left out.
    NoteUnreadable(scan.scan.medium, outcome);
}

void CountFinds(ScanSummary& summary, const std::vector<Find>& finds) {
    for (const Find& find : finds) {
        ++summary.findsByType[find.type];
    }
}

std::optional<ScanOutcome> FinishedBefore(const FolderScan& scan, const Folder& folder) {
    if (scan.isNew || !folder.Entry(JobFindsName)) {
        return std::nullopt;
    }
    Journal journal = ReadJournal(FilePlace(folder, JobFindsName));
    if (!journal.complete || journal.damagedLines > 0) {
        return std::nullopt;
    }
    ScanOutcome outcome;
    outcome.complete = true;
    outcome.setAside = std::move(journal.setAside);
    CountFinds(outcome.summary, journal.seen.finds);
    scan.scan.medium.Scanned().NoteUnreadable(journal.seen.unreadable);
    Conclude(outcome, scan);
    return outcome;
}

ScanOutcome RunInWorkers(FolderScan& scan, const SegmentStore& store, JournalWriter& journal) {
    const auto start = std::chrono::steady_clock::now();
    ScanOutcome outcome;
    SegmentRunOptions options = RunOptionsOf(scan, store.Grid());
    // Starts are written after all finds, on lines that do not depend on how the scan was cut.
    Sightings starts;
    options.take = [&](const Sightings& seen) {
        CountFinds(outcome.summary, seen.finds);
        std::ranges::for_each(seen.finds, [&](const Find& find) { journal.AddFind(find); });
        starts.starts.insert(starts.starts.end(), seen.starts.begin(), seen.starts.end());
        std::ranges::for_each(seen.textStarts, [&](SectorRange range) { starts.AddTextStarts(range); });
        std::ranges::for_each(seen.zeros, [&](SectorRange range) { starts.AddZeros(range); });
    };
    SegmentRunResult result = RunSegments(scan.scan.medium.Scanned(), store, options);
    outcome.complete = result.isComplete;
    outcome.setAside = std::move(result.setAside);
    Conclude(outcome, scan);
    outcome.summary.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    starts.unreadable = scan.scan.medium.Scanned().Unreadable().Ranges();
    journal.AddSightings(starts);
    for (const Json& aside : SetAsideToJson(scan.job.header, outcome.setAside)) {
        journal.AddSetAside(aside);
    }
    journal.AddSummary(outcome.summary);
    journal.Sync();
    return outcome;
}

ScanOutcome RunInto(FolderScan& scan, const SegmentStore& store, JournalWriter& journal) {
    try {
        return RunInWorkers(scan, store, journal);
    } catch (const Failure& failure) {
        if (failure.Status() != ExitStatus::NotStarted) {
            throw;
        }
        Say("{}; scanning goes on in this process, where a fault ends it", failure.what());
        store.Clear();
    }
    return RunScanWithJournal(scan.scan, journal, scan.quiet);
}

// The finds file gets its name once all finds are on stable storage.
template <class Run>
ScanOutcome IntoFindsFile(const FolderScan& scan, const Folder& folder, Run&& run) {
    JournalWriter journal(FilePlace(folder, FindsDraft), scan.scan.header);
    ScanOutcome outcome = run(journal);
    if (!outcome.complete) {
        folder.Remove(FindsDraft);
        return outcome;
    }
    if (const SystemError error = folder.Rename(FindsDraft, JobFindsName)) {
        throw Failure(ExitStatus::Losses,
                      fmt::format("cannot store the finds in '{}': {}", folder.Path().string(), error.Text()));
    }
    folder.SyncEntries();
    return outcome;
}

// Throws `Failure` (not started) if segments leave any blocks to scan.
void RequireNoneLeft(const FolderScan& scan, const SegmentStore& store, const std::vector<SegmentScan>& segments) {
    const ScanGrid& grid = store.Grid();
    SectorRangeSet left;
    for (const OpenPart& part : OpenParts(grid, {0, grid.BlockCount()}, segments, scan.job.segmentBlocks)) {
        const SectorRange sectors = grid.SectorsOf(part.blocks);
        if (scan.scan.medium.Scanned().ZeroSectorsFrom(sectors.first) < sectors.count) {
            left.Add(sectors);
        }
    }
    if (const auto ranges = left.Ranges(); !ranges.empty()) {
        const SectorRange first = scan.scan.medium.OnImage(ranges).front();
        throw Failure(ExitStatus::NotStarted,
                      fmt::format("not scanned yet: {}, the first of them {} to {}; scan the pieces that are missing, "
                                  "or all that is left with 'salvor scan {} --job {}'",
                                  Counted(left.SectorCount(), "sector"), first.first, first.first + first.count - 1,
                                  ShellWord(scan.scan.header.image.path), ShellWord(store.JobPath().string())));
    }
}

}  // namespace

int WorkersFor(const std::string& jobs, const Medium& medium) {
    constexpr int most = 1024;
    if (!jobs.empty()) {
        const auto count = ParseCount(jobs, most);
        if (!count) {
            throw Failure(ExitStatus::Usage,
                          fmt::format("--jobs: '{}' is not a number of workers from 1 to {}", jobs, most));
        }
        return static_cast<int>(*count);
    }
    return LieOnRotatingDisk(medium.Files())
               ? 1
               : std::clamp(static_cast<int>(std::thread::hardware_concurrency()), 1, most);
}

void AddJobOptions(Command& command, JobOptions& options) {
    command.options.push_back(
        {.name = "--jobs", .target = &options.jobs, .help = JobsHelp, .value = "NUMBER", .group = WorkGroup});
    command.options.push_back({.name = "--changed-medium",
                               .target = &options.changedMedium,
                               .help = "Continue even though the image has changed since the scan began",
                               .group = WorkGroup});
    // For tests.
    command.options.push_back({.name = "--segment-size", .target = &options.segmentSize, .isHidden = true});
}

FolderScan BeginFolderScan(const fs::path& folder, ScanOptions options, const std::vector<std::int32_t>& types,
                           const JobOptions& jobOptions, bool anew) {
    FolderScan begun;
    const Folder there = Folder::Open(folder);
    const std::optional<ScanJob> kept = there.IsOpen() && !anew ? ReadScanJob(there) : std::nullopt;
    if (kept && !options.image.format) {
        options.image.format = kept->header.image.format;
    }
    begun.scan = PrepareScan(options, types);
    begun.workers = WorkersFor(jobOptions.jobs, begun.scan.medium.Image());
    const MediumIdentity identity = IdentityOf(begun.scan.medium.Image());
    if (!kept) {
        FindSpace(begun.scan, options);
        begun.job = MakeScanJob(begun.scan.header, identity, SegmentBlocksFor(jobOptions, begun.scan.header));
        begun.use = anew                                     ? FolderUse::Overwrite
                    : there.IsOpen() && IsBarelyBegun(there) ? FolderUse::GoOn
                                                             : FolderUse::New;
        return begun;
    }
    begun.isNew = false;
    begun.use = FolderUse::GoOn;
    RequireSameMedium(folder, *kept, identity, options.image.path, jobOptions.changedMedium);
    RequireSameOptions(folder, options, begun.scan.header, kept->header);
    begun.scan = ReopenScan(kept->header, options.image, options.skipBad);
    begun.job = *kept;
    return begun;
}

FolderScan ReopenFolderScan(const fs::path& folder, const ImageSpec& image, const JobOptions& jobOptions) {
    const Folder there = Folder::Open(folder);
    const std::optional<ScanJob> kept = there.IsOpen() ? ReadScanJob(there) : std::nullopt;
    if (!kept) {
        throw Failure(ExitStatus::NotStarted,
                      fmt::format("no scan was begun in '{}'; 'salvor scan IMAGE --job {}' begins one", folder.string(),
                                  ShellWord(folder.string())));
    }
    FolderScan begun;
    begun.scan = ReopenScan(kept->header, image.path.empty() ? kept->header.image : image, /*skipBad=*/false);
    begun.job = *kept;
    begun.workers = WorkersFor(jobOptions.jobs, begun.scan.medium.Image());
    begun.isNew = false;
    begun.use = FolderUse::GoOn;
    RequireSameMedium(folder, *kept, IdentityOf(begun.scan.medium.Image()), begun.scan.header.image.path,
                      jobOptions.changedMedium);
    return begun;
}

Piece ParsePiece(const std::string& text) {
    constexpr std::int64_t mostPieces = 1000000;
    const std::size_t slash = text.find('/');
    const auto number = ParseCount(std::string_view(text).substr(0, slash), mostPieces);
    const auto count =
        slash == std::string::npos ? std::nullopt : ParseCount(std::string_view(text).substr(slash + 1), mostPieces);
    if (!number || !count || *number > *count) {
        throw Failure(ExitStatus::Usage,
                      fmt::format("--segment: '{}' is not a segment; write 3/16 for the third of 16", text));
    }
    return {*number, *count};
}

ExitStatus ScanFolderPiece(FolderScan& scan, const Folder& folder, Piece piece) {
    const SegmentStore store = StoreOf(scan, folder);
    SegmentRunOptions options = RunOptionsOf(scan, store.Grid());
    options.blocks = PieceOf(store.Grid(), piece.number, piece.count);
    const SegmentRunResult result = RunSegments(scan.scan.medium.Scanned(), store, options);
    if (!result.isComplete) {
        return ExitStatus::Stopped;
    }
    const bool isLossless = result.setAside.empty() && scan.scan.medium.Scanned().Unreadable().SectorCount() == 0;
    return isLossless ? ExitStatus::Done : ExitStatus::Losses;
}

ScanOutcome ScanFolderInto(FolderScan& scan, const Folder& folder, JournalWriter& journal) {
    return RunInto(scan, StoreOf(scan, folder), journal);
}

ScanOutcome ScanFolderToEnd(FolderScan& scan, const Folder& folder, bool keepsSegments) {
    std::optional<ScanOutcome> outcome = FinishedBefore(scan, folder);
    if (!outcome) {
        const SegmentStore store = StoreOf(scan, folder);
        outcome = IntoFindsFile(scan, folder, [&](JournalWriter& journal) { return RunInto(scan, store, journal); });
    }
    if (outcome->complete && !keepsSegments) {
        StoreOf(scan, folder).Clear();
        folder.RemoveEmptyFolder(SegmentStore::FolderName);
    }
    return *std::move(outcome);
}

ScanOutcome JoinFolderScan(FolderScan& scan, const Folder& folder) {
    if (auto finished = FinishedBefore(scan, folder)) {
        return *std::move(finished);
    }
    const SegmentStore store = StoreOf(scan, folder);
    std::vector<SegmentScan> segments;
    for (const BlockRange blocks : store.BlocksThere()) {
        segments.push_back(SegmentOfZeros(store.Grid(), blocks));
    }
    RequireNoneLeft(scan, store, segments);
    segments.clear();
    for (SegmentStore::Stored& stored : store.ReadAll()) {
        segments.push_back(std::move(stored.segment));
    }
    RequireNoneLeft(scan, store, segments);
    return IntoFindsFile(scan, folder, [&](JournalWriter& journal) { return RunInWorkers(scan, store, journal); });
}

Sightings SeenInJob(const FolderScan& scan, const Folder& folder) {
    Sightings seen = ReadJournal(FilePlace(folder, JobFindsName)).seen;
    seen.unreadable = scan.scan.medium.Scanned().Unreadable().Ranges();
    return seen;
}

ExitStatus StatusOf(const ScanOutcome& outcome) {
    if (!outcome.complete) {
        return ExitStatus::Stopped;
    }
    return outcome.summary.unreadable.empty() && outcome.setAside.empty() ? ExitStatus::Done : ExitStatus::Losses;
}

}  // namespace salvor
