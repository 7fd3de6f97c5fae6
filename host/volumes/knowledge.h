#pragma once

#include <functional>
#include <string>
#include <vector>

#include "host/medium/sector_ranges.h"
#include "host/volumes/read_volumes.h"

namespace salvor {

/// What is known from the partition table and the file systems of a medium.
struct Knowledge {
    std::vector<Volume> volumes;
    /// The ranges may overlap.
    std::vector<SectorRange> used;
    std::vector<SectorRange> slack;
    std::vector<KnownFile> files;
    std::vector<OutOfReach> outOfReach;
};

/// The ranges as a set.
SectorRangeSet SetOf(const std::vector<SectorRange>& ranges);

/// Writes what is found as JSON lines, with their line breaks.
class VolumeLines : public VolumeSink {
public:
    /// `stopRequested` is called before each read.
    VolumeLines(std::function<void(const std::string&)> take, std::function<bool()> stopRequested);

    void OnVolume(const Volume& volume) override;
    void OnUsed(SectorRange sectors) override;
    void OnSlack(SectorRange sectors) override;
    void OnFile(const KnownFile& file) override;
    void OnOutOfReach(OutOfReach files) override;
    bool StopRequested() override { return stopRequested_(); }
    /// Writes what was held back for a longer line. Call at the end.
    void End();

private:
    void Flush(std::vector<SectorRange>& ranges, const char* record);

    std::function<void(const std::string&)> take_;
    std::function<bool()> stopRequested_;
    std::vector<SectorRange> used_;
    std::vector<SectorRange> slack_;
};

/// Takes over a line of `VolumeLines`, which may come from anywhere; false if it makes no sense for this medium.
bool AddLine(const std::string& line, const Medium& medium, Knowledge& knowledge);

}  // namespace salvor
