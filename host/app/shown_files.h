#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>

#include "host/app/finds_use.h"
#include "host/app/selection.h"
#include "host/files/content_filter.h"
#include "host/medium/image_spec.h"
#include "host/plan/plan.h"
#include "host/report/report_reader.h"

namespace salvor {

/// Takes a file to show, with its record in the report or the record that it would get.
using TakeFile = std::function<void(const ReportedFile& file, const Json& record)>;

/// Which files to show, as the user gave it.
struct ShownOptions {
    /// A folder of recovered files, or the finds of a scan.
    std::string path;
    /// Used in place of the image that the finds or the report name; empty for that one.
    std::string image;
    FilterOptions filter;
    FileSystemUse fileSystems;
};

/// The result of going through the files.
struct ShownFiles {
    /// Where the files' bytes are. The sectors of it that must not be read are in the summary.
    ImageSpec image;
    ReportSummary summary;
    /// False if the scan lost something, or if lines of the report are damaged.
    bool isWhole = true;
    /// Files that are not shown because of their bytes or their details, by reason.
    std::map<std::string, std::int64_t> leftOut{};
};

/// Goes through the files that the options choose: those of a folder's report, or those that extracting from the
/// validated finds of a scan would write. Throws `Failure`: not started if the path leads to neither, usage for options
/// that cannot be understood.
ShownFiles ForEachShownFile(const ShownOptions& options, const TakeFile& take);

}  // namespace salvor
