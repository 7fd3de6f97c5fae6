#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/medium/sector_ranges.h"
#include "host/plan/plan.h"
#include "host/platform/folder.h"
#include "host/records/json_lines.h"
#include "host/records/line_log.h"
#include "host/records/piece.h"

namespace salvor {

/// How far a file was written.
struct WritingMark {
    /// This many bytes from its start are on stable storage.
    std::int64_t bytes = 0;
    /// The SHA-256 of these bytes, in lower-case hexadecimal.
    std::string sha256;
    /// Unreadable sectors up to there.
    std::vector<SectorRange> unreadable;
};

/// The marks of files that take long to write, in a file of the output folder that is created with the first mark. With
/// them, a run that was killed goes on in the middle of a file. Several threads may use it.
class WritingLog {
public:
    static constexpr const char* Name = "writing.jsonl";
    /// The interval between two marks of a file.
    static constexpr std::chrono::seconds Interval{5};

    /// The log of a whole run, or of one piece of it. The folder outlives this. Existing marks count if they belong to
    /// this job, and are removed otherwise.
    WritingLog(const Folder& folder, const std::optional<Piece>& piece, bool isOfJob,
               std::chrono::milliseconds interval = Interval);

    std::chrono::milliseconds MarkInterval() const { return interval_; }
    /// The file's last mark, of this run or of one before it.
    std::optional<WritingMark> Find(const PlannedFile& file) const;
    /// The mark is on stable storage when this returns. If it cannot be written, none is kept: marks only save time.
    void Add(const PlannedFile& file, const WritingMark& mark);
    /// Call when all files are written: removes the log, and drafts of files that are no longer planned. The log of a
    /// whole run also removes those of its pieces.
    void Finish();

private:
    void Take(const Json& record);
    void Write(const PlannedFile& file);

    const Folder& folder_;
    std::optional<Piece> piece_;
    std::string name_;
    std::chrono::milliseconds interval_;
    mutable std::mutex mutex_;
    // By path: the extents as text, and the mark.
    std::map<std::string, std::pair<std::string, WritingMark>> marks_;
    std::optional<LineLog> log_;
    bool isBroken_ = false;
};

}  // namespace salvor
