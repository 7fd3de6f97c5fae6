#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "host/medium/image_spec.h"
#include "host/medium/sector_ranges.h"
#include "host/medium/space.h"
#include "host/report/json_lines.h"
#include "host/report/line_log.h"
#include "host/scan/scan_session.h"

namespace salvor {

/// What a scan was asked to do: enough to repeat it or to extract its finds.
struct JournalHeader {
    ImageSpec image;
    std::int64_t imageSize = 0;
    std::int32_t sectorSize = 512;
    std::int64_t blockSize = 0;
    /// Of the image.
    SectorRange range;
    std::vector<std::int32_t> types;
    /// Caps in bytes that differ from the types' own, by factory index.
    std::map<std::int32_t, std::int64_t> caps;
    /// The joined part of the range that is scanned; null for all of it. What is seen counts the sectors of the space;
    /// the file has those of the image.
    std::shared_ptr<const Space> space;

    /// The range in sectors as scanning counts them.
    SectorRange ScannedRange() const { return space ? SectorRange{0, space->SectorCount()} : range; }
};

/// How a scan ended.
struct ScanSummary {
    bool complete = false;
    double seconds = 0;
    std::int64_t bytesScanned = 0;
    std::map<std::int32_t, std::int64_t> findsByType;
    std::vector<SectorRange> unreadable;
};

/// What was asked of a scan, without where the image stands.
Json OptionsToJson(const JournalHeader& header);

/// The first record of a finds file.
Json HeaderToJson(const JournalHeader& header);
/// The same read back, whatever its format is called. Throws an exception of the JSON library or of the standard
/// library if a field is missing or makes no sense.
JournalHeader HeaderFromJson(const Json& value);

/// Reads the lines about the space that follow such a record, if there are any. Throws in the same way.
void TakeSpace(const Json& value, LineReader& lines, JournalHeader& header);

/// For each, which sectors were not scanned for which type, and why.
std::vector<Json> SetAsideToJson(const JournalHeader& header, const std::vector<BlocksSetAside>& setAside);

/// Lines that tell of sectors which were seen: starts, starts of texts and what could not be read.
std::string SightingLines(const Sightings& seen);

/// Takes the record of such a line; false for another, or one that makes no sense.
bool TakeSightings(const Json& record, Sightings& seen);

/// Writes the finds of a scan as JSON lines, only ever appending. What it was told reaches the file when `Flush` is
/// called, and stable storage with `Sync`. All calls throw `Failure` when the file cannot be written.
class JournalWriter {
public:
    /// Makes a new file in place of one that is there.
    JournalWriter(const FilePlace& place, const JournalHeader& header);

    void AddFind(const Find& find);
    /// Ascending.
    void AddStart(std::int64_t sector);
    /// Ascending.
    void AddTextStart(std::int64_t sector);
    /// These sectors, found since the last call, cannot be read.
    void AddUnreadable(const std::vector<SectorRange>& ranges);
    /// Blocks that were read as zeros.
    void AddZeros(const std::vector<SectorRange>& ranges);
    /// What was seen, all at once.
    void AddSightings(const Sightings& seen);
    /// Sectors that were not scanned for a type, as `SetAsideToJson` tells of them.
    void AddSetAside(const Json& aside);
    /// Everything before this sector, counted from 0, has been scanned.
    void AddProgress(std::int64_t nextSector);
    void AddSummary(const ScanSummary& summary);
    void Flush();
    void Sync();

private:
    void AddLinesOf(const Sightings& seen);
    void WriteSightings();
    std::int64_t OnMedium(std::int64_t sector) const { return space_ ? space_->OnMedium(sector) : sector; }

    LineLog log_;
    // Null if all is scanned.
    std::shared_ptr<const Space> space_;
    std::int64_t finds_ = 0;
    // Not yet in the log.
    Sightings sighted_;
};

/// A journal as read back.
struct Journal {
    JournalHeader header;
    Sightings seen;
    std::vector<BlocksSetAside> setAside{};
    /// The scan went over its whole range and said so.
    bool complete = false;
    /// Lines that make no sense, among them a last line that was cut.
    std::int64_t damagedLines = 0;
};

/// Reads as much of a journal as is there. Throws `Failure` (not started) when the file cannot be read or its first
/// line is not the header of a journal.
Journal ReadJournal(const FilePlace& place);

}  // namespace salvor
