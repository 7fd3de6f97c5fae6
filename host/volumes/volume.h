#pragma once

#include <cstdint>
#include <string>

#include "host/medium/sector_ranges.h"

namespace salvor {

/// A part of the medium that a partition table or a file system sets apart.
struct Volume {
    /// Counted from 1, for the person.
    std::int32_t number = 0;
    /// Its sectors, as far as they lie on the medium, without one that it shares with what is before it.
    SectorRange sectors;
    /// What the partition table calls it; empty where there is no table.
    std::string description;
    /// What is in it: "FAT32", "LUKS"; empty if that is not known.
    std::string fileSystem;
    /// Its file system can be read; otherwise the volume is carved as a stream.
    bool isReadable = false;
    /// The least that the file system gives to a file, in bytes; 0 if unknown.
    std::int64_t clusterBytes = 0;
    bool operator==(const Volume&) const = default;
};

}  // namespace salvor
