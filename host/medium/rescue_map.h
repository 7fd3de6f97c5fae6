#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "host/medium/sector_ranges.h"
#include "host/platform/device.h"

namespace salvor {

/// Reads a map that GNU ddrescue keeps of a rescue (its manual, "Mapfile structure"): the areas that it has read, in
/// bytes, ascending. Throws `std::invalid_argument` with the reason where the text is no such map.
std::vector<ByteRange> RescuedAreas(std::string_view text);

/// What of a medium of `sizeInBytes` lies outside these areas, whole or in part, in sectors of `sectorSize` bytes.
std::vector<SectorRange> SectorsOutside(const std::vector<ByteRange>& areas, std::int64_t sizeInBytes,
                                        std::int32_t sectorSize);

/// The same for the map file at `path`. Throws `Failure` (not started) if it cannot be read.
std::vector<SectorRange> SectorsNotRescued(const std::string& path, std::int64_t sizeInBytes, std::int32_t sectorSize);

/// A map that has these areas, ascending and apart from each other, as finished and the rest of the medium as not yet
/// tried. The rescue tool takes it as the domain in which to go on.
std::string MapOfAreas(const std::vector<ByteRange>& areas, std::int64_t sizeInBytes);

}  // namespace salvor
