#include "host/files/extract_run.h"

#include <fmt/format.h>
#include <sys/statvfs.h>

#include <algorithm>
#include <cerrno>

#include "host/app/progress.h"
#include "host/app/say.h"
#include "host/files/write_files.h"
#include "host/platform/stop_request.h"
#include "host/report/report.h"

namespace salvor {

namespace {

namespace fs = std::filesystem;

std::optional<std::int64_t> FreeSpace(const fs::path& folder) {
    struct statvfs info {};
    if (statvfs(folder.c_str(), &info) != 0) {
        return std::nullopt;
    }
    return static_cast<std::int64_t>(info.f_bavail * info.f_frsize);
}

void RequireSpace(const Plan& plan, const fs::path& folder, const std::string& findsPath) {
    const std::int64_t needed = SpaceNeeded(plan, folder);
    const auto free = FreeSpace(folder);
    if (free && needed > *free) {
        throw Failure(
            ExitStatus::Losses,
            fmt::format("the files need {} and '{}' has {} free; none was written: free some space, narrow the "
                        "selection, or write elsewhere with 'salvor extract {} --out FOLDER'",
                        FormatSize(needed), folder.string(), FormatSize(*free), ShellWord(findsPath)));
    }
}

// Keeps the books of the files that are written.
class Extraction : public WriteObserver {
public:
    Extraction(const Plan& plan, const fs::path& folder, std::int32_t sectorSize, LineFile& report, LineFile& skipped,
               bool quiet)
        : plan_(plan),
          folder_(folder),
          sectorSize_(sectorSize),
          report_(report),
          skipped_(skipped),
          progress_("writing", TotalBytes(plan), quiet) {}

    // False if the person stopped it.
    bool Run(Medium& medium) {
        if (StopRequested()) {
            return false;
        }
        for (const PassedOver& passed : plan_.passedOver) {
            skipped_.Add(PassedOverRecord(passed));
            ++totals_.passedOver[ReasonText(passed.reason)];
        }
        return WriteFiles(medium, plan_, folder_, *this);
    }

    const ExtractTotals& Totals() const { return totals_; }

    void OnFile(const PlannedFile& file, const WriteResult& result) override {
        if (result.outcome == WriteOutcome::Failed) {
            NoteFailure(file, result.error);
        } else {
            report_.Add(FileRecord(file, result, sectorSize_));
            NoteFile(file, result);
        }
    }

    bool OnProgress(std::int64_t bytes) override {
        progress_.Update(bytes, counts_);
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

    void NoteFile(const PlannedFile& file, const WriteResult& result) {
        ++(result.outcome == WriteOutcome::Written ? totals_.written : totals_.alreadyThere);
        totals_.withUnreadable += result.hasUnreadableSectors ? 1 : 0;
        const std::string extension = ExtensionOf(file.finding);
        const bool isText = IsPlainText(file.finding);
        (isText ? totals_.text : totals_.byExtension[extension]).Add(file.finding.verdict, file.Size());
        totals_.pieces += isText && file.finding.beginsInMiddle ? 1 : 0;
        totals_.bytes += file.Size();
        ++counts_[extension];
    }

    void NoteFailure(const PlannedFile& file, const std::string& error) {
        const std::string reason = "could not be written: " + error;
        skipped_.Add(FailedRecord(file, reason));
        ++totals_.failed;
        ++totals_.passedOver[reason];
        // A full disk is said once; the summary counts the files.
        const bool full = error == ErrorText(ENOSPC);
        if (!full || !diskWasFull_) {
            progress_.Clear();
            Say("cannot write '{}': {}", (folder_ / file.path).string(), error);
        }
        diskWasFull_ = diskWasFull_ || full;
    }

    const Plan& plan_;
    const fs::path& folder_;
    std::int32_t sectorSize_;
    LineFile& report_;
    LineFile& skipped_;
    std::map<std::string, std::int64_t> counts_;
    ExtractTotals totals_;
    bool diskWasFull_ = false;
    Progress progress_;
};

Json SummaryRecord(const ExtractTotals& totals, Medium& medium, const FindsOrigin& origin, bool complete) {
    Json byExtension = Json::object();
    for (const auto& [extension, counts] : totals.byExtension) {
        byExtension[extension] = CountsToJson(counts);
    }
    Json text = CountsToJson(totals.text);
    text["pieces"] = totals.pieces;
    return {{"record", "summary"},
            {"ended", complete ? "complete" : "stopped"},
            {"image", origin.imagePath},
            {"image_size", medium.SizeInBytes()},
            {"sector_size", medium.SectorSize()},
            {"scan_complete", origin.scanComplete},
            {"files", totals.written + totals.alreadyThere},
            {"already_there", totals.alreadyThere},
            {"failed", totals.failed},
            {"bytes", totals.bytes},
            {"by_extension", byExtension},
            {"text", text},
            {"not_written", totals.passedOver},
            {"unreadable_sectors", medium.Unreadable().SectorCount()},
            {"unreadable", RangesToJson(medium.Unreadable().Ranges())}};
}

}  // namespace

ExitStatus ExtractFiles(Medium& medium, const std::vector<Outcome>& outcomes, const FindsOrigin& origin,
                        const PlanFilter& filter, const fs::path& folder, bool quiet) {
    const Plan plan = MakePlan(outcomes, {medium.SizeInBytes(), medium.SectorSize()}, filter, origin.caps);
    if (!StopRequested()) {
        RequireSpace(plan, folder, origin.findsPath);
    }
    LineFile report(folder / "report.jsonl");
    LineFile skipped(folder / "skipped.jsonl");
    bool complete = false;
    ExtractTotals totals;
    {
        Extraction extraction(plan, folder, medium.SectorSize(), report, skipped, quiet);
        complete = extraction.Run(medium);
        totals = extraction.Totals();
    }
    report.Add(SummaryRecord(totals, medium, origin, complete));
    skipped.Finish();
    report.Finish();
    if (!quiet) {
        Tell(TotalsTable(totals));
    }
    if (!complete) {
        Say("stopped with {} of {} files written", totals.written + totals.alreadyThere, plan.files.size());
        return ExitStatus::Stopped;
    }
    return totals.failed > 0 || medium.Unreadable().SectorCount() > 0 ? ExitStatus::Losses : ExitStatus::Done;
}

}  // namespace salvor
