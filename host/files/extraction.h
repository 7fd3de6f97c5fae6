#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "host/details/find_details.h"
#include "host/files/extract_job.h"
#include "host/files/skipped_list.h"
#include "host/files/write_files.h"
#include "host/report/folder_report.h"
#include "host/report/written_before.h"
#include "host/say/progress.h"

namespace salvor {

/// Notes a find that became no file, in the list of those and in the totals.
void NotePassedOver(const PassedOver& passed, SkippedList& skipped, ExtractTotals& totals);

/// Writes the files of a plan, counts and reports them, and shows progress. Throws `Failure` (losses) if the report
/// cannot be written.
class Extraction : public WriteObserver {
public:
    /// `skipped` is null if no list of the finds that became no file is wanted. `totals` holds what was counted while
    /// the plan was made. All that is referred to outlives this.
    Extraction(const ExtractJob& job, Plan& plan, FolderReport& report, SkippedList* skipped, ExtractTotals totals);

    /// Reports what earlier runs have written and removes it from the plan.
    void TakeOver(WrittenBefore& before);

    /// The details are not in the plan, but found for the files that are written. They outlive this.
    void AddDetails(DetailsOfFiles& details) { details_ = &details; }

    /// False if the user stopped it.
    bool Run(const std::string& partialSuffix, WritingLog& log);

    const ExtractTotals& Totals() const { return totals_; }

    void OnFile(const PlannedFile& file, const WriteResult& result) override;
    bool OnProgress(std::int64_t bytes) override;

private:
    // A line of the report.
    struct FileLineAt {
        std::int64_t startSector;
        std::string line;
    };

    void Report();
    void NoteFailure(const PlannedFile& file, const WriteResult& result);
    void NoteLeftOut(const PlannedFile& file, const WriteResult& result);

    const ExtractJob& job_;
    Plan& plan_;
    Medium& medium_;
    std::int32_t sectorSize_;
    FolderReport& report_;
    SkippedList* skipped_;
    ExtractTotals totals_;
    // The bytes of all files, and of those that earlier runs have written.
    std::int64_t totalBytes_;
    std::int64_t bytesBefore_ = 0;
    // The lines of files that may not yet be on stable storage.
    std::vector<FileLineAt> unreported_;
    std::chrono::steady_clock::time_point nextReport_;
    std::map<std::string, std::int64_t> counts_;
    bool diskWasFull_ = false;
    // Null if the plan has the details.
    DetailsOfFiles* details_ = nullptr;
    std::size_t handedOn_ = 0;
    Progress progress_;
};

}  // namespace salvor
