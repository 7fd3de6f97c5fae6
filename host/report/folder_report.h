#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "host/platform/folder.h"
#include "host/records/piece.h"
#include "host/report/report.h"

namespace salvor {

/// `report.jsonl` of a folder: one line for every recovered file in it, whichever run wrote it. It grows with the
/// files, so that it is true whenever the run ends; of two lines with the same path, the later one holds. Throws
/// `Failure` (losses) if it cannot be written.
class FolderReport {
public:
    /// Takes over what earlier runs reported about files that still exist, unless `anew`. A piece has its own report.
    /// The folder outlives this.
    FolderReport(const Folder& folder, bool anew, const std::optional<Piece>& piece = std::nullopt);

    /// See `LineFile`.
    void KeepRoom(std::int64_t bytes) { lines_.KeepRoom(bytes); }
    /// Adds the record of a file in the folder.
    void Add(const Json& record) { Add(IntegerIn(record, "start_sector"), JsonLine(record)); }
    /// The same for the line of the file that begins at this sector.
    void Add(std::int64_t startSector, const std::string& line);
    /// Brings what was added to stable storage.
    void Sync() { lines_.Sync(); }
    /// Orders the lines as the files are on the medium, one for each path, and appends the summary. `summary` gets the
    /// counts of files that earlier runs left.
    void Finish(const std::function<Json(const FolderCounts& earlier)>& summary);

private:
    struct Line {
        std::size_t pathHash;
        std::int64_t startSector;
        std::int64_t offset;
        std::uint32_t length;
    };

    void TakeOver();
    // The last line of each path, ordered as the files are on the medium. There may be millions, so this is only known
    // when it is asked for.
    std::vector<Line> LinesInOrder();
    std::string Text(const Line& line) { return lines_.Read(line.offset, line.length); }

    const Folder& folder_;
    std::string name_;
    LineFile lines_;
    // The lines of earlier runs come first.
    std::int64_t earlierBytes_ = 0;
    bool isInOrder_ = true;
    std::int64_t lastStart_ = 0;
};

}  // namespace salvor
