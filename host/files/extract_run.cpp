#include "host/files/extract_run.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <functional>
#include <limits>
#include <optional>
#include <vector>

#include "host/details/find_details.h"
#include "host/files/joined_plan.h"
#include "host/files/write_files.h"
#include "host/platform/device_facts.h"
#include "host/platform/stop_request.h"
#include "host/report/folder_report.h"
#include "host/report/page.h"
#include "host/report/written_before.h"
#include "host/say/progress.h"
#include "host/say/say.h"
#include "host/say/size_text.h"

namespace salvor {

namespace {

using std::chrono::steady_clock;

// How long a written file may be missing from the report.
constexpr std::chrono::seconds ReportInterval(5);

// Lengths of lines in the reports, a bit above the average.
constexpr std::int64_t FileLineBytes = 640;
constexpr std::int64_t SkippedLineBytes = 512;

// Removes from the plan what the disk has no room for; false if it removed anything. For `partialSuffix` see
// `FileFolders`.
bool FitOntoDisk(Plan& plan, const Folder& folder, const std::string& partialSuffix) {
    const std::optional<FreeSpace> space = folder.Space();
    if (!space) {
        return true;
    }
    // For type folders and reports.
    constexpr std::int64_t otherEntries = 256;
    const std::int64_t room = space->bytes - std::ssize(plan.passedOver) * SkippedLineBytes;
    const std::int64_t entries = space->entries.value_or(std::numeric_limits<std::int64_t>::max()) - otherEntries;
    const auto blocksOf = [&](const PlannedFile& file) {
        return (file.Size() + space->blockBytes - 1) / space->blockBytes * space->blockBytes;
    };
    std::int64_t wanted = std::ssize(plan.files) * FileLineBytes;
    for (const PlannedFile& file : plan.files) {
        wanted = AddSizes(wanted, blocksOf(file));
    }
    // Files of an earlier run are looked for only where it matters.
    if (wanted <= room && std::ssize(plan.files) <= entries) {
        return true;
    }
    const std::size_t planned = plan.files.size();
    const auto missingBytes = [&](const PlannedFile& file) {
        const std::filesystem::path draft(file.path + partialSuffix);
        const Folder parent = folder.Below(draft.parent_path(), false);
        const auto there = parent.IsOpen() ? parent.Entry(draft.filename().string()) : std::nullopt;
        return std::max<std::int64_t>(blocksOf(file) - (there ? there->size : 0), 0);
    };
    // If the existing file turns out to have other bytes, the new one is written beside it.
    KeepBest(plan, room, NotWanted::NoRoom,
             [&](const PlannedFile& file) { return FileLineBytes + (IsThere(folder, file) ? 0 : missingBytes(file)); });
    KeepBest(plan, entries, NotWanted::NoRoom, [&](const PlannedFile& file) { return IsThere(folder, file) ? 0 : 1; });
    return plan.files.size() == planned;
}

// Keeps only the files of one piece: a stretch of the medium with about as many bytes as the other pieces have.
void KeepPiece(Plan& plan, const Piece& piece) {
    // Even the smallest file takes time.
    constexpr std::int64_t costOfAFile = std::int64_t{64} << 10;
    const auto costOf = [](const PlannedFile& file) {
        return AddSizes(file.Size(), costOfAFile);
    };
    std::int64_t total = 0;
    for (const PlannedFile& file : plan.files) {
        total = AddSizes(total, costOf(file));
    }
    const std::int64_t step = total / piece.count + 1;
    std::int64_t before = 0;
    std::erase_if(plan.files, [&](const PlannedFile& file) {
        const std::int64_t middle = AddSizes(before, costOf(file) / 2);
        before = AddSizes(before, costOf(file));
        return middle / step != piece.number - 1;
    });
}

void NotePassedOver(const PassedOver& passed, LineFile& skipped, ExtractTotals& totals) {
    skipped.Add(JsonLine(PassedOverRecord(passed)));
    ++totals.passedOver[ReasonText(passed.reason)];
}

// If details decide which files are kept, all are read; otherwise only the details of files that are written.
void ChooseByDetails(Medium& medium, const FindsOrigin& origin, Plan& plan, const PlanFilter& filter,
                     const Folder& folder) {
    if (filter.AsksForDetails()) {
        FindDetails(medium, origin.image, plan, filter, &folder);
        KeepByDetails(plan, filter);
    }
}

// Counts and reports the files that are written.
class Extraction : public WriteObserver {
public:
    // `skipped` is null if no list of the finds that became no file is wanted.
    Extraction(Plan& plan, const KnownFiles& known, const Folder& folder, std::int32_t sectorSize, FolderReport& report,
               LineFile* skipped, ExtractTotals totals, bool quiet)
        : plan_(plan),
          known_(known),
          folder_(folder),
          sectorSize_(sectorSize),
          report_(report),
          skipped_(skipped),
          totals_(std::move(totals)),
          totalBytes_(TotalBytes(plan)),
          progress_("writing", totalBytes_, quiet) {}

    // Reports what earlier runs have written and removes it from the plan.
    void TakeOver(WrittenBefore& before) {
        std::erase_if(plan_.files, [&](const PlannedFile& file) {
            const auto written = before.Find(file, known_.At(file.known), sectorSize_);
            if (!written) {
                return false;
            }
            report_.Add(written->record);
            totals_.there.Add(written->record);
            ++(written->isOfPiece ? totals_.written : totals_.alreadyThere);
            ++counts_[VerdictName(file.finding.verdict)];
            return true;
        });
        bytesBefore_ = totalBytes_ - TotalBytes(plan_);
    }

    // False if the user stopped it.
    bool Run(Medium& medium, const std::string& partialSuffix, const ContentFilter& content, WritingLog& log) {
        for (const PassedOver& passed : plan_.passedOver) {
            NotePassedOver(passed, *skipped_, totals_);
        }
        const bool complete =
            !StopRequested() && WriteFiles(medium, plan_, folder_, partialSuffix, content, log, *this);
        if (complete) {
            // The last files may be done before the next progress report is due.
            progress_.Update(totalBytes_, counts_);
        }
        Report();
        return complete;
    }

    void EndProgress() { progress_.Clear(); }
    const ExtractTotals& Totals() const { return totals_; }

    void OnFile(const PlannedFile& file, const WriteResult& result) override {
        if (result.outcome == WriteOutcome::Failed) {
            NoteFailure(file, result);
            return;
        }
        if (result.outcome == WriteOutcome::Known || result.outcome == WriteOutcome::SameBytes) {
            NoteLeftOut(file, result);
            return;
        }
        ++(result.outcome == WriteOutcome::Written ? totals_.written : totals_.alreadyThere);
        unreported_.push_back(FileRecord(file, result, sectorSize_, known_.At(file.known)));
        totals_.there.Add(unreported_.back());
        ++counts_[VerdictName(file.finding.verdict)];
        constexpr std::size_t mostUnreported = 4096;
        if (unreported_.size() == mostUnreported) {
            Report();
        }
    }

    bool OnProgress(std::int64_t bytes) override {
        progress_.Update(bytesBefore_ + bytes, counts_);
        if (steady_clock::now() >= nextReport_) {
            Report();
        }
        return StopRequested();
    }

private:
    static std::int64_t TotalBytes(const Plan& plan) {
        std::int64_t total = 0;
        for (const PlannedFile& file : plan.files) {
            total = AddSizes(total, file.Size());
        }
        return total;
    }

    // The report lists only files that are on stable storage.
    void Report() {
        if (!unreported_.empty()) {
            folder_.Sync();
            for (const Json& record : unreported_) {
                report_.Add(record);
            }
            report_.Sync();
            unreported_.clear();
        }
        nextReport_ = steady_clock::now() + ReportInterval;
    }

    void NoteFailure(const PlannedFile& file, const WriteResult& result) {
        const std::string reason = "could not be written: " + result.error;
        if (skipped_ != nullptr) {
            skipped_->Add(JsonLine(UnwrittenRecord(file, reason)));
        }
        ++totals_.failed;
        ++totals_.passedOver[reason];
        // A full disk is announced once; the summary counts the files.
        if (!result.diskIsFull || !diskWasFull_) {
            progress_.Clear();
            Say("cannot write '{}': {}", (folder_.Path() / file.path).string(), result.error);
        }
        diskWasFull_ = diskWasFull_ || result.diskIsFull;
    }

    void NoteLeftOut(const PlannedFile& file, const WriteResult& result) {
        const char* const reason = result.sameAs.empty() ? KnownFileReason : SameBytesReason;
        if (skipped_ != nullptr) {
            Json record = UnwrittenRecord(file, reason);
            record["sha256"] = result.sha256;
            if (!result.sameAs.empty()) {
                record["same_as"] = result.sameAs;
            }
            skipped_->Add(JsonLine(record));
        }
        ++totals_.passedOver[reason];
    }

    Plan& plan_;
    const KnownFiles& known_;
    const Folder& folder_;
    std::int32_t sectorSize_;
    FolderReport& report_;
    LineFile* skipped_;
    ExtractTotals totals_;
    // The bytes of all files, and of those that earlier runs have written.
    std::int64_t totalBytes_;
    std::int64_t bytesBefore_ = 0;
    // Records of files that may not yet be on stable storage.
    std::vector<Json> unreported_;
    steady_clock::time_point nextReport_ = steady_clock::now() + ReportInterval;
    std::map<std::string, std::int64_t> counts_;
    bool diskWasFull_ = false;
    Progress progress_;
};

// The areas that the medium's format knows to be zeros, at the resolution of the page's map. Reads nothing.
std::vector<SectorRange> KnownZeros(Medium& medium) {
    constexpr std::size_t mostRanges = 4096;
    const std::int64_t step = std::max<std::int64_t>(medium.SectorCount() / 65536, 1);
    std::vector<SectorRange> zeros;
    for (std::int64_t sector = 0; sector < medium.SectorCount() && zeros.size() < mostRanges;) {
        const std::int64_t count = medium.ZeroSectorsFrom(sector);
        if (count >= step) {
            zeros.push_back({sector, count});
        }
        sector += std::max(count, step);
    }
    return zeros;
}

// Adds the parts of the range that could be read.
void AddReadable(SectorRange range, const SectorRangeSet& unreadable, std::vector<SectorRange>& readable) {
    const std::int64_t end = range.first + range.count;
    for (std::int64_t sector = range.first; sector < end;) {
        const SectorRange bad = unreadable.NextFrom(sector);
        const std::int64_t next = bad.count > 0 ? std::clamp(bad.first, sector, end) : end;
        if (next > sector) {
            readable.push_back({sector, next - sector});
        }
        sector = std::max(next, bad.first + bad.count);
    }
}

// The areas that the scan has read as zeros; if there are very many, the longest.
std::vector<SectorRange> ReadZeros(const std::vector<SectorRange>& zeros, const SectorRangeSet& unreadable) {
    constexpr std::ptrdiff_t mostRanges = 4096;
    std::vector<SectorRange> ranges;
    for (const SectorRange& zero : zeros) {
        AddReadable(zero, unreadable, ranges);
    }
    if (std::ssize(ranges) > mostRanges) {
        std::ranges::nth_element(ranges, ranges.begin() + mostRanges, std::ranges::greater(), &SectorRange::count);
        ranges.resize(mostRanges);
        std::ranges::sort(ranges, {}, &SectorRange::first);
    }
    return ranges;
}

// What the system knows of the disk; null for an image.
Json DeviceRecord(const std::string& path) {
    const std::optional<DeviceFacts> facts = FactsOfDevice(path);
    return facts ? Json{{"model", facts->model},
                        {"serial", facts->serial},
                        {"logical_sector_size", facts->logicalSectorSize},
                        {"physical_sector_size", facts->physicalSectorSize}}
                 : Json();
}

Json SummaryRecord(const ExtractTotals& totals, const FolderCounts& earlier, Medium& medium, const FindsOrigin& origin,
                   bool complete) {
    FolderCounts all = earlier;
    all.Add(totals.there);
    Json byExtension = Json::object();
    for (const auto& [extension, counts] : all.byExtension) {
        byExtension[extension] = CountsToJson(counts);
    }
    Json text = CountsToJson(all.text);
    text["pieces"] = all.pieces;
    return {{"record", "summary"},
            {"ended", complete ? "complete" : "stopped"},
            {"image", origin.image.path},
            {"image_size", medium.SizeInBytes()},
            {"sector_size", medium.SectorSize()},
            {"device", DeviceRecord(origin.image.path)},
            {"scan_complete", origin.scanComplete},
            {"set_aside", origin.setAside},
            {"files", all.files},
            {"already_there", totals.alreadyThere},
            {"of_earlier_runs", earlier.files},
            {"failed", totals.failed},
            {"bytes", all.bytes},
            {"by_extension", byExtension},
            {"text", text},
            {"not_written", totals.passedOver},
            {"unreadable_sectors", medium.Unreadable().SectorCount()},
            {"unreadable", RangesToJson(medium.Unreadable().Ranges())},
            {"known_zeros", RangesToJson(KnownZeros(medium))},
            {"zeros", RangesToJson(ReadZeros(origin.zeros, medium.Unreadable()))}};
}

}  // namespace

ExitStatus ExtractFiles(const ScanMedium& scanned, const std::vector<Outcome>& outcomes, const KnownFiles& known,
                        const FindsOrigin& origin, const PlanFilter& filter, const ContentFilter& content,
                        const OutFolder& out, bool quiet) {
    const Folder& folder = out.folder;
    LineFile skipped(folder, "skipped.jsonl");
    ExtractTotals passedOver;
    scanned.ShareUnreadable();
    Medium& medium = scanned.Image();
    Plan plan = PlanOnImage(outcomes, scanned, filter, origin.caps,
                            [&](const PassedOver& passed) { NotePassedOver(passed, skipped, passedOver); });
    ChooseByDetails(medium, origin, plan, filter, folder);
    const std::string partialSuffix = ".part";
    const bool fits = FitOntoDisk(plan, folder, partialSuffix);
    if (!fits) {
        Say("'{}' has no room for all files; the best of those that fit are written: free some space, or narrow the "
            "selection, and run 'salvor extract {} --out {}'",
            folder.Path().string(), ShellWord(origin.findsPath), ShellWord(folder.Path().string()));
    }
    const std::size_t planned = plan.files.size();
    WrittenBefore before(folder);
    if (out.isOfJob) {
        before.ReadAll();
    }
    medium.NoteUnreadable(before.Unreadable());
    if (const std::string missing = before.Missing(); !missing.empty()) {
        Say("the segments {} did not come to their end; their files are written now", missing);
    }
    FolderReport report(folder, !out.isOfJob);
    report.KeepRoom(std::ssize(plan.files) * FileLineBytes + FileLineBytes);
    skipped.KeepRoom((std::ssize(plan.passedOver) + std::ssize(plan.files)) * SkippedLineBytes);
    Extraction extraction(plan, known, folder, medium.SectorSize(), report, &skipped, std::move(passedOver), quiet);
    // A copy of an already reported file may come before it on the medium.
    if (!content.unique) {
        extraction.TakeOver(before);
    }
    if (!filter.AsksForDetails()) {
        FindDetails(medium, origin.image, plan, filter, &folder);
    }
    WritingLog writing(folder, std::nullopt, out.isOfJob);
    const bool complete = extraction.Run(medium, partialSuffix, content, writing);
    extraction.EndProgress();
    const ExtractTotals& totals = extraction.Totals();
    skipped.TakeName();
    skipped.ReleaseRoom();
    std::int64_t filesOfEarlierRuns = 0;
    report.Finish([&](const FolderCounts& earlier) {
        filesOfEarlierRuns = earlier.files;
        return SummaryRecord(totals, earlier, medium, origin, complete);
    });
    folder.Sync();
    if (complete) {
        writing.Finish();
        before.RemovePieces();
    }
    if (!quiet) {
        Tell(TotalsTable(totals, filesOfEarlierRuns) +
             ClosingLines(totals.there, Printable((folder.Path() / PageName).string())));
    }
    if (!complete) {
        Say("stopped with {} of {} files written", totals.written + totals.alreadyThere, planned);
        return ExitStatus::Stopped;
    }
    const bool isLossless = fits && totals.failed == 0 && medium.Unreadable().SectorCount() == 0;
    return isLossless ? ExitStatus::Done : ExitStatus::Losses;
}

ExitStatus ExtractPiece(const ScanMedium& scanned, const std::vector<Outcome>& outcomes, const KnownFiles& known,
                        const FindsOrigin& origin, const PlanFilter& filter, const ContentFilter& content,
                        const OutFolder& out, const Piece& piece, bool quiet) {
    const Folder& folder = out.folder;
    scanned.ShareUnreadable();
    Medium& medium = scanned.Image();
    Plan plan = PlanOnImage(outcomes, scanned, filter, origin.caps, [](const PassedOver& /*passed*/) {});
    ChooseByDetails(medium, origin, plan, filter, folder);
    // What does not fit would depend on what the other pieces have written so far, so the plans would differ.
    const std::string partialSuffix = SuffixOf(piece) + ".part";
    if (!FitOntoDisk(plan, folder, partialSuffix)) {
        throw Failure(ExitStatus::NotStarted,
                      fmt::format("'{}' has no room for the files of all segments: free some space, narrow the "
                                  "selection, or run without --segment to write the best of those that fit",
                                  folder.Path().string()));
    }
    KeepPiece(plan, piece);
    plan.passedOver.clear();
    const std::size_t planned = plan.files.size();
    WrittenBefore before(folder);
    before.ReadPiece(piece);
    FolderReport report(folder, false, piece);
    report.KeepRoom(std::ssize(plan.files) * FileLineBytes + FileLineBytes);
    Extraction extraction(plan, known, folder, medium.SectorSize(), report, nullptr, {}, quiet);
    extraction.TakeOver(before);
    if (!filter.AsksForDetails()) {
        FindDetails(medium, origin.image, plan, filter, &folder);
    }
    WritingLog writing(folder, piece, out.isOfJob);
    const bool complete = extraction.Run(medium, partialSuffix, content, writing);
    extraction.EndProgress();
    const ExtractTotals& totals = extraction.Totals();
    report.Finish([&](const FolderCounts& /*earlier*/) {
        return Json{{"record", "summary"},
                    {"ended", complete ? "complete" : "stopped"},
                    {"unreadable", RangesToJson(medium.Unreadable().Ranges())}};
    });
    folder.Sync();
    if (!complete) {
        Say("stopped with {} of {} files written; the same command goes on", totals.written + totals.alreadyThere,
            planned);
        return ExitStatus::Stopped;
    }
    writing.Finish();
    if (!quiet) {
        Tell(TotalsTable(totals, 0));
    }
    const bool isLossless = totals.failed == 0 && medium.Unreadable().SectorCount() == 0;
    return isLossless ? ExitStatus::Done : ExitStatus::Losses;
}

}  // namespace salvor
