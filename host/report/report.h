#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "host/files/file_descriptor.h"
#include "host/files/file_writer.h"
#include "host/plan/plan.h"
#include "host/report/json_lines.h"

namespace salvor {

/// What a run made of a plan, for the summary.
struct ExtractTotals {
    std::int64_t written = 0;
    std::int64_t alreadyThere = 0;
    std::int64_t failed = 0;
    std::int64_t bytes = 0;
    /// Files in the folder that hold unreadable sectors as zeros.
    std::int64_t withUnreadable = 0;
    /// Files in the folder whose size the host has measured.
    std::int64_t measured = 0;
    /// Files in the folder whose size is bounded only.
    std::int64_t bounded = 0;
    /// Files and bytes by extension, in the folder now.
    std::map<std::string, std::pair<std::int64_t, std::int64_t>> byExtension;
    /// Finds that became no file, by reason.
    std::map<std::string, std::int64_t> passedOver;
};

/// Writes JSON lines under a temporary name, appending; `Finish` gives the file its own name. Throws `Failure` (losses)
/// when the file cannot be written.
class LineFile {
public:
    explicit LineFile(std::filesystem::path path);
    void Add(const Json& value);
    void Finish();

private:
    void Flush();

    std::filesystem::path path_;
    std::filesystem::path partial_;
    FileDescriptor fd_;
    std::string pending_;
};

/// One line of the report: a file that is in the folder. `sectorSize` in bytes.
Json FileRecord(const PlannedFile& file, const WriteResult& result, std::int32_t sectorSize);

/// One line of the list of finds that became no file.
Json PassedOverRecord(const Find& find, std::string_view reason);

/// The table at the end of a run, for the person.
std::string TotalsTable(const ExtractTotals& totals);

}  // namespace salvor
