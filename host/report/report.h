#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "host/files/file_writer.h"
#include "host/plan/plan.h"
#include "host/platform/file_descriptor.h"
#include "host/report/json_lines.h"

namespace salvor {

/// Files of one kind.
struct FileCounts {
    std::int64_t files = 0;
    std::int64_t bytes = 0;
    /// By verdict; its last, that there is no file, stays 0.
    std::array<std::int64_t, 5> byVerdict{};

    void Add(Verdict verdict, std::int64_t size) {
        ++files;
        bytes += size;
        ++byVerdict[static_cast<std::size_t>(verdict)];
    }
};

/// What a run made of a plan, for the summary.
struct ExtractTotals {
    std::int64_t written = 0;
    std::int64_t alreadyThere = 0;
    std::int64_t failed = 0;
    std::int64_t bytes = 0;
    /// Files in the folder that hold unreadable sectors as zeros.
    std::int64_t withUnreadable = 0;
    /// Files in the folder now, by extension; plain text is counted apart.
    std::map<std::string, FileCounts> byExtension;
    FileCounts text;
    /// Of the files of plain text those that begin in the middle.
    std::int64_t pieces = 0;
    /// What became no file, by reason.
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

/// One line of the list of what became no file.
Json PassedOverRecord(const PassedOver& passed);

/// The same for a file that could not be written.
Json FailedRecord(const PlannedFile& file, std::string_view reason);

/// Files and bytes of a kind, with the number of files by verdict.
Json CountsToJson(const FileCounts& counts);

/// The table at the end of a run, for the person.
std::string TotalsTable(const ExtractTotals& totals);

}  // namespace salvor
