#pragma once

#include <functional>
#include <string>

#include "host/plan/plan.h"
#include "host/report/report_reader.h"

namespace salvor {

/// A file for a person to look at, with its record in the report or the one that it would get.
using TakeFile = std::function<void(const ReportedFile& file, const Json& record)>;

/// What was gone through for a person.
struct ShownFiles {
    ReportSummary summary;
    /// Lines of a report that tell of no file any more.
    std::int64_t damagedLines = 0;
    /// The files are written: they stand in the folder that was named.
    bool areWritten = false;
};

/// Goes through the files of which `path` tells and which the filter wants: those of a folder's report, or those that
/// extracting from the validated finds of a scan would write. `image` stands for the one that the finds name, unless it
/// is empty. Throws `Failure` (not started) if the path leads to neither.
ShownFiles ForEachShownFile(const std::string& path, const std::string& image, const PlanFilter& filter,
                            const TakeFile& take);

}  // namespace salvor
