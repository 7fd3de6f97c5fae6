#include "host/files/extract_run.h"

#include <fmt/format.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/details/find_details.h"
#include "host/files/disk_room.h"
#include "host/files/extraction.h"
#include "host/files/joined_plan.h"
#include "host/files/summary_record.h"
#include "host/files/write_files.h"
#include "host/report/folder_report.h"
#include "host/report/page.h"
#include "host/report/written_before.h"
#include "host/say/say.h"
#include "host/say/size_text.h"

namespace salvor {

namespace {

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
    plan.files.EraseIf([&](const PlannedFile& file) {
        const std::int64_t middle = AddSizes(before, costOf(file) / 2);
        before = AddSizes(before, costOf(file));
        return middle / step != piece.number - 1;
    });
}

Plan MakePlan(const ExtractJob& job, const std::function<void(const PassedOver&)>& onPassedOver) {
    job.scanned.ShareUnreadable();
    Plan plan = PlanOnImage(std::move(job.outcomes), job.scanned, job.filter, job.origin.caps, onPassedOver);
    // If details decide which files are kept, all are read; otherwise only the details of files that are written.
    if (job.filter.AsksForDetails()) {
        NoteDetails(job.scanned.Image(), job.origin.image, plan, job.filter, &job.out.folder);
        KeepByDetails(plan, job.filter);
    }
    return plan;
}

// False if the user stopped it.
bool WritePlan(const ExtractJob& job, const Plan& plan, const std::string& partialSuffix, Extraction& extraction,
               WritingLog& writing) {
    Medium& medium = job.scanned.Image();
    DetailsOfFiles details(medium, job.origin.image, plan.files, job.filter, &job.out.folder);
    if (!job.filter.AsksForDetails()) {
        extraction.AddDetails(details);
    }
    return extraction.Run(partialSuffix, writing);
}

void SayThatNotAllFits(const ExtractJob& job) {
    const std::string folder = job.out.folder.Path().string();
    Say("'{}' has no room for all files; the best of those that fit are written: free some space, or narrow the "
        "selection, and run 'salvor extract {} --out {}'",
        folder, ShellWord(job.origin.findsPath), ShellWord(folder));
}

// What an interrupted run, or the pieces of one, have written into the folder of the job.
void ReadBefore(const ExtractJob& job, WrittenBefore& before) {
    if (job.out.isOfJob) {
        before.ReadAll();
    }
    job.scanned.Image().NoteUnreadable(before.Unreadable());
    if (const std::string missing = before.Missing(); !missing.empty()) {
        Say("the segments {} did not come to their end; their files are written now", missing);
    }
}

// False, and says so, if a part of the list had no room.
bool FinishList(SkippedList& skipped, const Folder& folder) {
    skipped.Finish();
    if (skipped.IsCut()) {
        Say("'{}' has little room, so 'skipped.jsonl' is cut: it names only a part of what was not written",
            folder.Path().string());
    }
    return !skipped.IsCut();
}

bool IsLossless(const ExtractTotals& totals, Medium& medium) {
    return totals.failed == 0 && medium.Unreadable().SectorCount() == 0;
}

}  // namespace

ExitStatus ExtractFiles(const ExtractJob& job) {
    const Folder& folder = job.out.folder;
    Medium& medium = job.scanned.Image();
    SkippedList skipped(folder);
    ExtractTotals passedOver;
    Plan plan = MakePlan(job, [&](const PassedOver& passed) { NotePassedOver(passed, skipped, passedOver); });
    const std::string partialSuffix = ".part";
    const std::int64_t mostSkipped = std::ssize(plan.passedOver) + std::ssize(plan.files);
    const bool fits = FitOntoDisk(plan, folder, partialSuffix, skipped.RoomFor(mostSkipped));
    if (!fits) {
        SayThatNotAllFits(job);
    }
    const std::size_t planned = plan.files.size();
    WrittenBefore before(folder);
    ReadBefore(job, before);
    FolderReport report(folder, !job.out.isOfJob);
    report.KeepRoom(std::ssize(plan.files) * FileLineBytes + FileLineBytes);
    skipped.KeepRoomFor(mostSkipped);
    Extraction extraction(job, plan, report, &skipped, std::move(passedOver));
    // A copy of an already reported file may come before it on the medium.
    if (!job.content.unique) {
        extraction.TakeOver(before);
    }
    WritingLog writing(folder, std::nullopt, job.out.isOfJob);
    const bool complete = WritePlan(job, plan, partialSuffix, extraction, writing);
    const ExtractTotals& totals = extraction.Totals();
    const bool isListed = FinishList(skipped, folder);
    // Putting the lines in order takes memory too.
    plan.files.clear();
    std::int64_t filesOfEarlierRuns = 0;
    report.Finish([&](const FolderCounts& earlier) {
        filesOfEarlierRuns = earlier.files;
        return SummaryRecord(totals, earlier, medium, job.origin, complete);
    });
    folder.Sync();
    if (complete) {
        writing.Finish();
        before.RemovePieces();
    }
    if (!job.quiet) {
        Tell(TotalsTable(totals, filesOfEarlierRuns) +
             ClosingLines(totals.there, Printable((folder.Path() / PageName).string())));
    }
    if (!complete) {
        Say("stopped with {} of {} files written", totals.written + totals.alreadyThere, planned);
        return ExitStatus::Stopped;
    }
    return fits && isListed && IsLossless(totals, medium) ? ExitStatus::Done : ExitStatus::Losses;
}

ExitStatus ExtractPiece(const ExtractJob& job, const Piece& piece) {
    const Folder& folder = job.out.folder;
    Medium& medium = job.scanned.Image();
    Plan plan = MakePlan(job, [](const PassedOver& /*passed*/) {});
    // What does not fit would depend on what the other pieces have written so far, so the plans would differ.
    const std::string partialSuffix = SuffixOf(piece) + ".part";
    if (!FitOntoDisk(plan, folder, partialSuffix, 0)) {
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
    FolderReport report(folder, /*anew=*/false, piece);
    report.KeepRoom(std::ssize(plan.files) * FileLineBytes + FileLineBytes);
    Extraction extraction(job, plan, report, nullptr, {});
    extraction.TakeOver(before);
    WritingLog writing(folder, piece, job.out.isOfJob);
    const bool complete = WritePlan(job, plan, partialSuffix, extraction, writing);
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
    if (!job.quiet) {
        Tell(TotalsTable(totals, 0));
    }
    return IsLossless(totals, medium) ? ExitStatus::Done : ExitStatus::Losses;
}

}  // namespace salvor
