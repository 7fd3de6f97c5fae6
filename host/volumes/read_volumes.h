#pragma once

#include <cstdint>

#include "host/medium/medium.h"
#include "host/volumes/known_file.h"
#include "host/volumes/volume.h"

namespace salvor {

/// Living files whose bytes do not fill sectors of the medium: they are compressed, encrypted or stored inside the file
/// system's own records.
struct OutOfReach {
    /// The number of their volume.
    std::int32_t volume = 0;
    std::int64_t files = 0;
};

/// Receives what `ReadVolumes` finds, at once.
class VolumeSink {
public:
    VolumeSink() = default;
    VolumeSink(const VolumeSink&) = delete;
    VolumeSink& operator=(const VolumeSink&) = delete;
    virtual ~VolumeSink() = default;

    /// All volumes come before anything else.
    virtual void OnVolume(const Volume& volume) = 0;
    /// Sectors that a file system uses for itself or for living files.
    virtual void OnUsed(SectorRange /*sectors*/) {}
    /// Sectors after the end of a living file that belong to its last cluster; they are included in the used ones.
    virtual void OnSlack(SectorRange /*sectors*/) {}
    virtual void OnFile(const KnownFile& /*file*/) {}
    /// Called after a volume's files, if there are any such files.
    virtual void OnOutOfReach(OutOfReach /*files*/) {}
    /// Called before each read; true ends the reading.
    virtual bool StopRequested() = 0;
};

struct VolumesRequest {
    bool withUsed = false;
    bool withFiles = false;
    /// How many bytes may be read; a hostile file system can ask for any number.
    std::int64_t allowance = 0;
};

/// Reads the partition table and the file systems of a medium. Media are hostile, and a third-party library parses the
/// file systems: call it where a crash does no harm. What was found before a crash still counts.
void ReadVolumes(Medium& medium, const VolumesRequest& request, VolumeSink& sink);

}  // namespace salvor
