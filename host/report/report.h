#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "host/plan/plan.h"
#include "host/platform/folder.h"
#include "host/records/json_lines.h"
#include "host/report/write_result.h"
#include "host/say/failure.h"
#include "host/volumes/known_file.h"

namespace salvor {

/// The name of a folder's report of its recovered files.
inline constexpr const char* ReportName = "report.jsonl";

/// Files of one kind.
struct FileCounts {
    std::int64_t files = 0;
    std::int64_t bytes = 0;
    /// Counts by verdict; the last one, for `NoFile`, stays 0.
    std::array<std::int64_t, 5> byVerdict{};

    void Add(Verdict verdict, std::int64_t size) {
        ++files;
        bytes += size;
        ++byVerdict[static_cast<std::size_t>(verdict)];
    }
    void Add(const FileCounts& other) {
        files += other.files;
        bytes += other.bytes;
        for (std::size_t i = 0; i < byVerdict.size(); ++i) {
            byVerdict[i] += other.byVerdict[i];
        }
    }
};

/// Files that are in a folder.
struct FolderCounts {
    std::int64_t files = 0;
    std::int64_t bytes = 0;
    /// By extension; plain text is counted apart.
    std::map<std::string, FileCounts> byExtension;
    FileCounts text;
    /// Among the files of plain text, those that begin in the middle.
    std::int64_t pieces = 0;
    /// Files with zeros in place of unreadable sectors.
    std::int64_t withUnreadable = 0;

    /// Counts the file of a record. Throws a JSON exception if `FileRecord` did not write it.
    void Add(const Json& record);
    void Add(const PlannedFile& file, const WriteResult& result);
    void Add(const FolderCounts& other);

private:
    struct CountedFile {
        std::string path;
        std::string extension;
        bool isText = false;
        Verdict verdict = Verdict::NoFile;
        std::int64_t size = 0;
        std::int64_t unreadableBytes = 0;
    };
    void Count(const CountedFile& file);
};

/// The result of writing a plan, for the summary.
struct ExtractTotals {
    std::int64_t written = 0;
    std::int64_t alreadyThere = 0;
    std::int64_t failed = 0;
    /// Files of this run that are now in the folder.
    FolderCounts there;
    /// What became no file, counted by reason.
    std::map<std::string, std::int64_t> passedOver;
};

/// A file of lines that has a temporary name until it holds everything that it should. Throws `Failure` (losses) if it
/// cannot be written.
class LineFile {
public:
    /// The folder outlives this.
    LineFile(const Folder& folder, std::string name);

    /// Reserves room on the disk for this many bytes, if the file system can, so that other files that fill the disk
    /// cost no line.
    void KeepRoom(std::int64_t bytes) { file_.KeepRoom(bytes); }
    /// Appends whole lines.
    void Add(const std::string& lines);
    /// Brings what was added to stable storage.
    void Sync();
    /// Gives the complete file its name, replacing an existing one. More lines may follow.
    void TakeName();
    /// Gives back the room that is left.
    void ReleaseRoom() { file_.ReleaseRoom(); }

    /// The number of bytes that were added.
    std::int64_t Size() const { return size_; }
    std::string Read(std::int64_t offset, std::size_t length);

private:
    void Flush();
    void Require(bool done) const;
    Failure Failed(const SystemError& error) const;

    const Folder& folder_;
    std::string name_;
    File file_;
    std::string pending_;
    std::int64_t size_ = 0;
};

/// One line of the report, with its line break: a file in the folder. `sectorSize` in bytes; `known` is what a file
/// system knows about the file, or null.
std::string FileLine(const PlannedFile& file, const WriteResult& result, std::int32_t sectorSize,
                     const KnownFile* known = nullptr);
/// The same as a value.
Json FileRecord(const PlannedFile& file, const WriteResult& result, std::int32_t sectorSize,
                const KnownFile* known = nullptr);

/// One line of the list of what became no file.
Json PassedOverRecord(const PassedOver& passed);

/// The same for a planned file that was not written.
Json UnwrittenRecord(const PlannedFile& file, std::string_view reason);

/// Files and bytes of a kind, with the number of files by verdict.
Json CountsToJson(const FileCounts& counts);

/// The last three lines of a run: what was found, how much of it is certain, and where to look. `folder` is the one
/// with the files.
std::string ClosingLines(const FolderCounts& counts, const std::string& folder);

/// The table at the end of a run; `earlier` counts files of other runs in the folder.
std::string TotalsTable(const ExtractTotals& totals, std::int64_t earlier);

}  // namespace salvor
