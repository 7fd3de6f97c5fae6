#pragma once

#include "host/files/extract_job.h"
#include "host/report/report.h"

namespace salvor {

/// The last line of a folder's report. `totals` is of this run, `earlier` counts files of other runs in the folder.
Json SummaryRecord(const ExtractTotals& totals, const FolderCounts& earlier, Medium& medium, const FindsOrigin& origin,
                   bool complete);

}  // namespace salvor
