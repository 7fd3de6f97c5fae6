#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "host/medium/medium.h"
#include "host/scan/find.h"
#include "host/scan/merge.h"

namespace salvor {

/// What a scan has seen. Sectors count from 0.
struct Sightings {
    /// In the order of the reports.
    std::vector<Find> finds;
    /// Sectors that begin with a validator's own signature, ascending.
    std::vector<std::int64_t> starts;
    /// Sectors with which a text may begin, ascending; neighbours are joined.
    std::vector<SectorRange> textStarts;
    /// Sectors that could not be read.
    std::vector<SectorRange> unreadable;
    /// Sectors that were read as zeros: whole blocks and parts of others, ascending; neighbours are joined.
    std::vector<SectorRange> zeros{};
    bool operator==(const Sightings&) const = default;

    void AddTextStart(std::int64_t sector) { AddTextStarts({sector, 1}); }
    void AddTextStarts(SectorRange sectors) { Append(textStarts, sectors); }
    void AddZeros(SectorRange sectors) { Append(zeros, sectors); }

private:
    static void Append(std::vector<SectorRange>& ranges, SectorRange sectors) {
        if (!ranges.empty() && ranges.back().first + ranges.back().count == sectors.first) {
            ranges.back().count += sectors.count;
        } else {
            ranges.push_back(sectors);
        }
    }
};

struct ScanRequest {
    /// The sectors in which to look for files. Files that begin there are followed beyond them.
    SectorRange range;
    /// The number of sectors to read at once. The finds do not depend on it, except for types whose row in the
    /// catalogue says so.
    std::int64_t blockSectors = 2048;
    /// Factory indices; those without a scanner are ignored.
    std::vector<std::int32_t> types;
    /// Caps in bytes that differ from the types' own, by factory index.
    std::map<std::int32_t, std::int64_t> caps;
    /// Also look for the validators' own signatures.
    bool withStarts = false;
};

/// Receives a scan's events; called on the scanning thread.
class ScanObserver {
public:
    virtual ~ScanObserver() = default;
    virtual void OnFind(const Find& find) = 0;
    /// The sector begins with a validator's own signature.
    virtual void OnStart(std::int64_t /*sector*/) {}
    /// A text may begin with this sector.
    virtual void OnTextStart(std::int64_t /*sector*/) {}
    /// A block, or a part of one, was read and is all zeros; called only if starts are looked for.
    virtual void OnZeros(SectorRange /*sectors*/) {}
    /// All sectors of the range before `nextSector` have been scanned.
    virtual void OnBlockDone(std::int64_t nextSector) = 0;
    /// The scanner of a type, or the start finder, is about to get these sectors.
    virtual void OnLook(SectorRange /*sectors*/, std::int32_t /*type*/) {}
    /// Asked before every block; true ends the scan.
    virtual bool StopRequested() = 0;
    /// Asked after every block of a part that may end sooner; true ends it there.
    virtual bool PartShallEnd() { return false; }
    /// Asked after every block of a part; true gives up types that never come to rest.
    virtual bool IsSlow() { return false; }
};

/// Runs the scanners over a range of the medium. Depends on nothing but its arguments and the library. True if the
/// whole range was scanned, false if the observer stopped it.
bool ScanRange(Medium& medium, const ScanRequest& request, ScanObserver& observer);

/// A part of a scan's blocks, for a process of its own.
struct ScanPart {
    /// All types scan from this block on, up to border `to`. A type that is not at rest there goes on, alone, to the
    /// first of `borders` at which it is, or to border `last`. Once the observer asks for an end, any border will do.
    std::int64_t from = 0;
    std::int64_t to = 0;
    std::vector<BlockRange> borders;
    std::int64_t last = 0;
    /// If the observer asks for an end, any other border takes the place of `to` and of `last`.
    bool mayEndSooner = false;
    /// Where scanning is slow, a type is given up that has not been at rest for this many blocks; 0 for never. Its
    /// behaviour there probably depends on what is before the part, so its finds would not be used.
    std::int64_t mostRestless = 0;
    bool operator==(const ScanPart&) const = default;
};

/// Stands for the start finder where a scan names a type.
inline constexpr std::int32_t StartsType = -1;

/// Blocks in which the scanner of a type fails, so that its finds there remain unknown.
struct BlocksSetAside {
    std::int32_t type = 0;
    BlockRange blocks;
    /// For messages: "crashed (signal 11)".
    std::string why;
    bool operator==(const BlocksSetAside&) const = default;
};

/// The result of scanning a part, as far as merging needs it.
struct SegmentScan {
    /// The blocks that all types were to scan, and in which starts were looked for. Types that were not at rest at
    /// their end went on; some may have been given up before.
    BlockRange blocks;
    bool withStarts = false;
    std::vector<TypeScan> scans;
    /// What the observer received, except the finds, which are in the scans.
    Sightings seen;
    std::vector<BlocksSetAside> setAside{};
    bool operator==(const SegmentScan&) const = default;
};

/// The division of a request's range into blocks.
ScanGrid GridOf(const ScanRequest& request);

/// A segment of a scan. Its types go on for `mostBehind` blocks at most; those that are still not at rest then will be
/// found missing when the scans are merged.
ScanPart SegmentOf(const ScanGrid& grid, BlockRange blocks, std::int64_t mostBehind);

/// A scan that merging found missing. Its type must be the request's only one.
ScanPart PartFor(const ScanGrid& grid, const MissingScan& missing);

/// Scans a part of the request's range. Call once in a process, as some types remember the last file for as long as it
/// lives. Starts are looked for before border `to`. The result lacks what only the observer received. Nothing if the
/// observer stopped the scan.
std::optional<SegmentScan> ScanApart(Medium& medium, const ScanRequest& request, const ScanPart& part,
                                     ScanObserver& observer);

}  // namespace salvor
