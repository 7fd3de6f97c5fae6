#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "host/medium/sector_ranges.h"
#include "host/platform/device.h"

namespace salvor {

/// Reads a map that GNU ddrescue keeps of a rescue (its manual, "Mapfile structure"). Gives the areas that it has read,
/// in bytes, ascending. Throws `std::invalid_argument` with the reason if the text is not such a map.
std::vector<ByteRange> RescuedAreas(std::string_view text);

/// The parts of a medium of `sizeInBytes` outside these areas, in sectors of `sectorSize` bytes; sectors partly outside
/// count.
std::vector<SectorRange> SectorsOutside(const std::vector<ByteRange>& areas, std::int64_t sizeInBytes,
                                        std::int32_t sectorSize);

/// The same for the map file at `path`. Throws `Failure` (not started) if it cannot be read.
std::vector<SectorRange> SectorsNotRescued(const std::string& path, std::int64_t sizeInBytes, std::int32_t sectorSize);

/// A map with these areas as finished and the rest of the medium as not yet tried. The areas ascend and do not touch.
/// The rescue tool accepts it as the domain in which to go on.
std::string MapOfAreas(const std::vector<ByteRange>& areas, std::int64_t sizeInBytes);

}  // namespace salvor
