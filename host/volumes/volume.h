#pragma once

#include <cstdint>
#include <string>

#include "host/medium/sector_ranges.h"

namespace salvor {

/// A part of the medium that a partition table or a file system defines.
struct Volume {
    /// Counts from 1, as users see it.
    std::int32_t number = 0;
    /// Its sectors on the medium, without one that it shares with the volume before it.
    SectorRange sectors;
    /// The partition table's name for it; empty if there is no table.
    std::string description;
    /// Its content: "FAT32", "LUKS"; empty if unknown.
    std::string fileSystem;
    /// True if its file system can be read; otherwise the volume is carved as a stream.
    bool isReadable = false;
    /// The smallest unit of space that the file system gives to a file, in bytes; 0 if unknown.
    std::int64_t clusterBytes = 0;
    /// A sector with which one of these begins.
    std::int64_t firstCluster = 0;
    bool operator==(const Volume&) const = default;
};

}  // namespace salvor
