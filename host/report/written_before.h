#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/medium/sector_ranges.h"
#include "host/plan/plan.h"
#include "host/platform/folder.h"
#include "host/records/json_lines.h"
#include "host/records/piece.h"
#include "host/report/report.h"
#include "host/volumes/known_file.h"

namespace salvor {

/// True if the folder has a file with the planned path and size.
bool IsThere(const Folder& folder, const PlannedFile& file);

/// The files in a folder that incomplete runs have reported: an interrupted run, and the pieces of a run that several
/// machines share. These files need not be compared with the medium again.
class WrittenBefore {
public:
    /// Empty at first. The folder outlives this.
    explicit WrittenBefore(const Folder& folder) : folder_(folder) {}

    /// Reads the folder's report, unless that is complete, and the reports of all pieces.
    void ReadAll();
    /// Reads the report of an earlier run of this piece, unless that came to its end.
    void ReadPiece(const Piece& piece) { Read(ReportName + SuffixOf(piece), std::nullopt); }

    struct Written {
        Json record;
        /// Written by one of several pieces, not by an earlier run.
        bool isOfPiece = false;
    };
    /// The record of a planned file that exists and that an earlier run reported exactly as planned. `known` is what a
    /// file system knows about it, or null; `sectorSize` in bytes.
    std::optional<Written> Find(const PlannedFile& file, const KnownFile* known, std::int32_t sectorSize);

    /// The sectors that the pieces could not read.
    const std::vector<SectorRange>& Unreadable() const { return unreadable_; }
    /// The pieces that did not complete, in the form of `MissingPieces`; empty if there are no pieces.
    std::string Missing() const;
    /// Removes the reports of the pieces.
    void RemovePieces() const;

private:
    struct Source {
        File file;
        std::string name;
        std::optional<Piece> piece;
        bool isComplete = false;
    };
    struct Line {
        std::size_t pathHash;
        std::int64_t offset;
        std::uint32_t source;
        std::uint32_t length;
    };

    void Read(const std::string& name, const std::optional<Piece>& piece);
    std::optional<Json> RecordAt(const Line& line);

    const Folder& folder_;
    std::vector<Source> sources_;
    std::vector<Line> lines_;
    std::vector<SectorRange> unreadable_;
};

}  // namespace salvor
