#pragma once

#include <cstdint>
#include <map>
#include <vector>

#include "host/medium/medium.h"
#include "host/scan/find.h"

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

    void AddTextStart(std::int64_t sector) { AddTextStarts({sector, 1}); }
    void AddTextStarts(SectorRange sectors) {
        if (!textStarts.empty() && textStarts.back().first + textStarts.back().count == sectors.first) {
            textStarts.back().count += sectors.count;
        } else {
            textStarts.push_back(sectors);
        }
    }
};

struct ScanRequest {
    /// The sectors to look for files in. Files that begin there are followed beyond it.
    SectorRange range;
    /// What is read at once. The finds do not depend on it but for the types whose row of the catalogue says so.
    std::int64_t blockSectors = 2048;
    /// Factory indices; those without a scanner are passed over.
    std::vector<std::int32_t> types;
    /// Caps in bytes that differ from the types' own, by factory index.
    std::map<std::int32_t, std::int64_t> caps;
    /// Look for the validators' own signatures too.
    bool withStarts = false;
};

/// What a scan tells while it goes on; called on the scanning thread.
class ScanObserver {
public:
    virtual ~ScanObserver() = default;
    virtual void OnFind(const Find& find) = 0;
    /// The sector begins with a validator's own signature.
    virtual void OnStart(std::int64_t /*sector*/) {}
    /// A text may begin with this sector.
    virtual void OnTextStart(std::int64_t /*sector*/) {}
    /// All sectors of the range in front of `nextSector` have been scanned.
    virtual void OnBlockDone(std::int64_t nextSector) = 0;
    /// Asked before every block; true ends the scan.
    virtual bool StopRequested() = 0;
};

/// Drives the scanners over a range of the medium. Depends on nothing but its arguments and the library. True if the
/// whole range was scanned, false if the observer stopped it.
bool ScanRange(Medium& medium, const ScanRequest& request, ScanObserver& observer);

}  // namespace salvor
