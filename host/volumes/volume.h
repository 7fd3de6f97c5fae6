#pragma once

#include <cstdint>
#include <string>

#include "host/medium/sector_ranges.h"

namespace salvor {

/// A part of the medium that a partition table or a file system sets apart.
struct Volume {
    /// As a person names it, from 1 on.
    std::int32_t number = 0;
    /// Of the medium, as far as they lie on it; a sector that it shares with what is in front of it does not count.
    SectorRange sectors;
    /// What the partition table calls it; empty where there is no table.
    std::string description;
    /// What is in it: "FAT32", "LUKS"; empty if that is not known.
    std::string fileSystem;
    /// Its file system can be read; any other volume is carved as a stream.
    bool isReadable = false;
    /// In bytes: what the file system gives to a file at least; 0 if that is not known.
    std::int64_t clusterBytes = 0;
    bool operator==(const Volume&) const = default;
};

}  // namespace salvor
