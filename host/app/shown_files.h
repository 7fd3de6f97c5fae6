#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>

#include "host/app/finds_use.h"
#include "host/files/content_filter.h"
#include "host/plan/plan.h"
#include "host/report/report_reader.h"

namespace salvor {

/// A file for a person to look at, with its record in the report or the one that it would get.
using TakeFile = std::function<void(const ReportedFile& file, const Json& record)>;

/// Which files a person wants to see.
struct ShownChoice {
    PlanFilter filter;
    ContentFilter content;
    FileSystemUse fileSystems;
};

/// What was gone through for a person.
struct ShownFiles {
    ReportSummary summary;
    /// Lines of a report that tell of no file any more.
    std::int64_t damagedLines = 0;
    /// Files that are not shown for what they hold or say of themselves, by reason.
    std::map<std::string, std::int64_t> leftOut{};
};

/// Goes through the files of which `path` tells and which the choice wants: those of a folder's report, or those that
/// extracting from the validated finds of a scan would write. `image` stands for the one that the finds name, unless it
/// is empty. Throws `Failure` (not started) if the path leads to neither.
ShownFiles ForEachShownFile(const std::string& path, const std::string& image, const ShownChoice& choice,
                            const TakeFile& take);

}  // namespace salvor
