#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "host/medium/image_format.h"
#include "host/medium/sector_ranges.h"
#include "host/plan/file_details.h"
#include "host/plan/plan.h"
#include "host/platform/folder.h"
#include "host/records/json_lines.h"
#include "host/records/line_log.h"

namespace salvor {

/// What the file system still knows about a file. Times are in seconds since 1970, UTC.
struct OriginalEntry {
    /// From the volume's root on, with slashes; empty if nothing is known.
    std::string path;
    bool isDeleted = false;
    std::optional<std::int64_t> modified;
    std::optional<std::int64_t> accessed;
    std::optional<std::int64_t> changed;
    std::optional<std::int64_t> created;
};

/// A file that begins inside another one, as the other one's line lists it.
struct ReportedPart {
    std::int64_t startSector = 0;
    std::string extension;
    std::int64_t size = 0;
    Verdict verdict = Verdict::NoFile;
};

/// A recovered file as the report describes it. Names and phrases come from a medium: they may contain anything.
struct ReportedFile {
    /// Relative to the folder, with slashes.
    std::string path;
    /// The name of the file's own type.
    std::string typeName;
    std::string extension;
    /// Factory indices of all types that claim it, its own first.
    std::vector<std::int32_t> types;
    std::int64_t startSector = 0;
    std::int64_t startByte = 0;
    std::int64_t size = 0;
    std::optional<std::int64_t> reportedSize;
    Verdict verdict = Verdict::NoFile;
    std::string why;
    std::string sha256;
    std::int64_t unreadableBytes = 0;
    std::vector<std::string> flags;
    /// At least one.
    std::vector<Extent> extents;
    /// The path of the file in which it begins; empty for most files.
    std::string container;
    std::vector<ReportedPart> embedded;
    OriginalEntry original;
    FileDetails details;
};

/// The file in a report's record; nothing for other records and for damaged ones.
std::optional<ReportedFile> FileOfRecord(const Json& record);

/// The report's facts about the whole run. After a run that was killed, only the image is known.
struct ReportSummary {
    std::string image;
    /// Nothing if it is recognised by the content.
    std::optional<ImageFormat> imageFormat;
    std::int64_t imageSize = 0;
    std::int32_t sectorSize = 512;
    /// The run that wrote it came to its end.
    bool isComplete = false;
    std::vector<SectorRange> unreadable;
    /// Areas that the medium's format knows to be zeros, and areas that the scan has read as zeros.
    std::vector<SectorRange> zeros;
    /// What became no file, counted by reason.
    std::map<std::string, std::int64_t> notWritten;
};

/// Reads the report of a folder file by file, so that even a million files take little memory. Of lines with the same
/// path, the last one holds.
class ReportReader {
public:
    /// The folder outlives this. Throws `Failure` (not started) if it has no report.
    explicit ReportReader(const Folder& folder);

    /// The next file, in the report's order; false at the end.
    bool Next(ReportedFile& file);

    /// The record from which the last file was read.
    const Json& Record() const { return record_; }

    const ReportSummary& Summary() const { return summary_; }
    /// Lines that are neither a file nor a summary, and so are damaged.
    std::int64_t DamagedLines() const { return damagedLines_; }

private:
    void LookThrough(File file);
    void ReadSummary(const Json& record);
    void ReadJob(const Folder& folder);

    // By line number: true for a file that no later line describes again.
    std::vector<bool> holds_;
    std::size_t line_ = 0;
    ReportSummary summary_;
    std::int64_t damagedLines_ = 0;
    Json record_;
    File file_;
    LineReader lines_;
};

/// Says how many lines of the folder's report are damaged; true if none are.
bool SayIfDamaged(const ReportReader& reader, const Folder& folder);

/// Opens a folder of recovered files. Throws `Failure` (not started) if it cannot be opened.
Folder OpenReportFolder(const std::string& path);

}  // namespace salvor
