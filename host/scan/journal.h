#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "host/medium/image_spec.h"
#include "host/medium/sector_ranges.h"
#include "host/medium/space.h"
#include "host/records/json_lines.h"
#include "host/records/line_log.h"
#include "host/scan/scan_session.h"

namespace salvor {

/// The parameters of a scan: enough to repeat it or to extract its finds.
struct JournalHeader {
    ImageSpec image;
    std::int64_t imageSize = 0;
    std::int32_t sectorSize = 512;
    std::int64_t blockSize = 0;
    /// In sectors of the image.
    SectorRange range;
    std::vector<std::int32_t> types;
    /// Caps in bytes that differ from the types' own, by factory index.
    std::map<std::int32_t, std::int64_t> caps;
    /// The joined part of the range that is scanned; null for all of it. In memory, sectors are those of the space; in
    /// the file, those of the image.
    std::shared_ptr<const Space> space;

    /// The range in the sectors that scanning counts.
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

/// The parameters of a scan, without the place of the image.
Json OptionsToJson(const JournalHeader& header);

/// The first record of a finds file.
Json HeaderToJson(const JournalHeader& header);
/// Reads such a record, whatever its format is called. Throws an exception of the JSON library or of the standard
/// library if a field is missing or makes no sense.
JournalHeader HeaderFromJson(const Json& value);

/// Reads the lines about the space that follow the record, if there are any. Throws likewise.
void TakeSpace(const Json& value, LineReader& lines, JournalHeader& header);

/// One record for each: which sectors were not scanned for which type, and why.
std::vector<Json> SetAsideToJson(const JournalHeader& header, const std::vector<BlocksSetAside>& setAside);

/// Lines about the sectors that were seen: starts, starts of texts, and unreadable ones.
std::string SightingLines(const Sightings& seen);

/// Takes over the record of such a line; false if it is another record or makes no sense.
bool TakeSightings(const Json& record, Sightings& seen);

/// Writes the finds of a scan as JSON lines, only ever appending. Lines reach the file with `Flush`, and stable storage
/// with `Sync`. All calls throw `Failure` if the file cannot be written.
class JournalWriter {
public:
    /// Creates a new file, replacing an existing one.
    JournalWriter(const FilePlace& place, const JournalHeader& header);

    void AddFind(const Find& find);
    /// Sectors must ascend.
    void AddStart(std::int64_t sector);
    /// Sectors must ascend.
    void AddTextStart(std::int64_t sector);
    /// Adds sectors that turned out to be unreadable since the last call.
    void AddUnreadable(const std::vector<SectorRange>& ranges);
    /// Adds sectors that were read as zeros.
    void AddZeros(const std::vector<SectorRange>& ranges);
    /// Adds everything that was seen at once.
    void AddSightings(const Sightings& seen);
    /// Adds a record of `SetAsideToJson`.
    void AddSetAside(const Json& aside);
    /// Notes that everything before this sector, counted from 0, has been scanned.
    void AddProgress(std::int64_t nextSector);
    void AddSummary(const ScanSummary& summary);
    void Flush();
    void Sync();

private:
    void AddLinesOf(const Sightings& seen);
    void WriteSightings();
    std::int64_t OnMedium(std::int64_t sector) const { return space_ ? space_->OnMedium(sector) : sector; }

    LineLog log_;
    // Null if everything is scanned.
    std::shared_ptr<const Space> space_;
    std::int64_t finds_ = 0;
    // Not yet written.
    Sightings sighted_;
};

/// A journal that was read back.
struct Journal {
    JournalHeader header;
    Sightings seen;
    std::vector<BlocksSetAside> setAside{};
    /// The scan covered its whole range and said so.
    bool complete = false;
    /// Lines that make no sense, including an incomplete last line.
    std::int64_t damagedLines = 0;
};

/// Reads as much of a journal as there is. Throws `Failure` (not started) if the file cannot be read or its first line
/// is not the header of a journal.
Journal ReadJournal(const FilePlace& place);

}  // namespace salvor
