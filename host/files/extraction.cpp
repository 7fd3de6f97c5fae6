#include "host/files/extraction.h"

#include <optional>
#include <utility>

#include "host/platform/stop_request.h"
#include "host/say/say.h"
#include "host/say/size_text.h"

namespace salvor {

namespace {

using std::chrono::steady_clock;

// How long a written file may be missing from the report.
constexpr std::chrono::seconds ReportInterval(5);

std::int64_t TotalBytes(const Plan& plan) {
    std::int64_t total = 0;
    for (const PlannedFile& file : plan.files) {
        total = AddSizes(total, file.Size());
    }
    return total;
}

}  // namespace

void NotePassedOver(const PassedOver& passed, SkippedList& skipped, ExtractTotals& totals) {
    skipped.Add(PassedOverRecord(passed));
    ++totals.passedOver[ReasonText(passed.reason)];
}

Extraction::Extraction(const ExtractJob& job, Plan& plan, FolderReport& report, SkippedList* skipped,
                       ExtractTotals totals)
    : job_(job),
      plan_(plan),
      medium_(job.scanned.Image()),
      sectorSize_(medium_.SectorSize()),
      report_(report),
      skipped_(skipped),
      totals_(std::move(totals)),
      totalBytes_(TotalBytes(plan)),
      nextReport_(steady_clock::now() + ReportInterval),
      progress_("writing", totalBytes_, job.quiet) {}

void Extraction::TakeOver(WrittenBefore& before) {
    plan_.files.EraseIf([&](const PlannedFile& file) {
        const auto written = before.Find(file, job_.known.At(file.known), sectorSize_);
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

bool Extraction::Run(const std::string& partialSuffix, WritingLog& log) {
    for (const PassedOver& passed : plan_.passedOver) {
        NotePassedOver(passed, *skipped_, totals_);
    }
    const bool complete = !StopRequested() &&
                          WriteFiles(medium_, {plan_.files, job_.out.folder, partialSuffix, job_.content, log}, *this);
    if (complete) {
        // The last files may be done before the next progress report is due.
        progress_.Update(totalBytes_, counts_);
    }
    Report();
    progress_.Clear();
    return complete;
}

void Extraction::OnFile(const PlannedFile& file, const WriteResult& result) {
    const std::size_t index = handedOn_++;
    if (result.outcome == WriteOutcome::Stopped) {
        return;
    }
    if (result.outcome == WriteOutcome::Failed) {
        NoteFailure(file, result);
        return;
    }
    if (result.outcome == WriteOutcome::Known || result.outcome == WriteOutcome::SameBytes) {
        NoteLeftOut(file, result);
        return;
    }
    ++(result.outcome == WriteOutcome::Written ? totals_.written : totals_.alreadyThere);
    PlannedFile detailed = file;
    if (details_ != nullptr && !StopRequested()) {
        detailed.details = details_->Of(index);
    }
    // A stop while they were read leaves some out too.
    WriteResult noted = result;
    noted.lacksDetails = details_ != nullptr && StopRequested();
    unreported_.push_back({file.StartSector(), FileLine(detailed, noted, sectorSize_, job_.known.At(file.known))});
    totals_.there.Add(file, result);
    ++counts_[VerdictName(file.finding.verdict)];
    constexpr std::size_t mostUnreported = 4096;
    if (unreported_.size() == mostUnreported) {
        Report();
    }
}

bool Extraction::OnProgress(std::int64_t bytes) {
    progress_.Update(bytesBefore_ + bytes, counts_);
    if (steady_clock::now() >= nextReport_) {
        Report();
    }
    return StopRequested();
}

// The report lists only files that are on stable storage.
void Extraction::Report() {
    if (!unreported_.empty()) {
        job_.out.folder.Sync();
        for (const FileLineAt& one : unreported_) {
            report_.Add(one.startSector, one.line);
        }
        report_.Sync();
        unreported_.clear();
    }
    nextReport_ = steady_clock::now() + ReportInterval;
}

void Extraction::NoteFailure(const PlannedFile& file, const WriteResult& result) {
    const std::string reason = "could not be written: " + result.error;
    if (skipped_ != nullptr) {
        skipped_->Add(UnwrittenRecord(file, reason));
    }
    ++totals_.failed;
    ++totals_.passedOver[reason];
    // A full disk is announced once; the summary counts the files.
    if (!result.diskIsFull || !diskWasFull_) {
        progress_.Clear();
        Say("cannot write '{}': {}", (job_.out.folder.Path() / file.path).string(), result.error);
    }
    diskWasFull_ = diskWasFull_ || result.diskIsFull;
}

void Extraction::NoteLeftOut(const PlannedFile& file, const WriteResult& result) {
    const char* const reason = result.sameAs.empty() ? KnownFileReason : SameBytesReason;
    if (skipped_ != nullptr) {
        Json record = UnwrittenRecord(file, reason);
        record["sha256"] = result.sha256;
        if (!result.sameAs.empty()) {
            record["same_as"] = result.sameAs;
        }
        skipped_->Add(record);
    }
    ++totals_.passedOver[reason];
}

}  // namespace salvor
