#include "host/app/shown_files.h"

#include <fmt/format.h>

#include <filesystem>
#include <optional>

#include "host/app/finds_use.h"
#include "host/details/find_details.h"
#include "host/report/report.h"
#include "host/say/failure.h"
#include "host/say/say.h"
#include "host/validate/outcomes_file.h"
#include "host/validate/validate_run.h"

namespace salvor {

namespace {

namespace fs = std::filesystem;

// The outcomes of finds that were validated before; nothing is written for somebody who only looks.
std::vector<Outcome> OutcomesOf(const FindsUse& finds, const std::string& path, const PlanFilter& filter) {
    const Sightings& seen = finds.journal.seen;
    if (filter.asReported) {
        return ReportedOutcomes(seen.finds, {finds.medium->SizeInBytes(), finds.medium->SectorSize()}, filter.types);
    }
    std::optional<OutcomesRead> read = ReadOutcomes(FilePlace(OutcomesPathOf(path)));
    if (!read || !read->validation.complete ||
        read->digest != DigestOf(*finds.medium, seen, finds.journal.header.caps)) {
        throw Failure(ExitStatus::NotStarted,
                      fmt::format("nobody has found out yet what the finds in '{}' are; run 'salvor validate {}' first",
                                  path, ShellWord(path)));
    }
    return std::move(read->validation.outcomes);
}

ShownFiles ShowPlanned(const std::string& path, const std::string& image, const PlanFilter& filter,
                       const TakeFile& take) {
    const FindsUse finds(path, {image}, false);
    Medium& medium = *finds.medium;
    Plan plan = MakePlan(OutcomesOf(finds, path, filter), {medium.SizeInBytes(), medium.SectorSize()}, filter,
                         finds.journal.header.caps);
    FindDetails(medium, finds.image, plan, nullptr);
    for (const PlannedFile& planned : plan.files) {
        const Json record = FileRecord(planned, {}, medium.SectorSize());
        if (const std::optional<ReportedFile> file = FileOfRecord(record)) {
            take(*file, record);
        }
    }
    ShownFiles shown;
    shown.summary.image = finds.image.path;
    shown.summary.imageSize = medium.SizeInBytes();
    shown.summary.sectorSize = medium.SectorSize();
    for (const PassedOver& passed : plan.passedOver) {
        ++shown.summary.notWritten[ReasonText(passed.reason)];
    }
    return shown;
}

ShownFiles ShowWritten(const Folder& folder, const PlanFilter& filter, const TakeFile& take) {
    ReportReader reader(folder);
    for (ReportedFile file; reader.Next(file);) {
        const Finding finding{file.verdict, file.size, file.types.front()};
        if (!RefusalOf(finding, filter)) {
            take(file, reader.Record());
        }
    }
    if (reader.DamagedLines() > 0) {
        Say("{} lines of the report in '{}' are damaged and passed over", reader.DamagedLines(),
            folder.Path().string());
    }
    return {reader.Summary(), reader.DamagedLines(), true};
}

}  // namespace

ShownFiles ForEachShownFile(const std::string& path, const std::string& image, const PlanFilter& filter,
                            const TakeFile& take) {
    std::error_code error;
    if (fs::is_regular_file(path, error)) {
        return ShowPlanned(path, image, filter, take);
    }
    const fs::path finds = fs::path(path) / "finds.jsonl";
    if (!fs::exists(fs::path(path) / ReportName, error) && fs::is_regular_file(finds, error)) {
        return ShowPlanned(finds.string(), image, filter, take);
    }
    return ShowWritten(OpenReportFolder(path), filter, take);
}

}  // namespace salvor
