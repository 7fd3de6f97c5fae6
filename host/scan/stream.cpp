#include "host/scan/stream.h"

#include <cstring>
#include <limits>

namespace salvor {

std::int32_t StreamSource::ReadSectors(std::int64_t firstSector, std::uint8_t* buffer, std::int32_t count) {
    if (count < 1) {
        return 0;
    }
    if (firstSector == std::numeric_limits<std::int64_t>::min()) {
        ++firstSector;  // still before the medium
    }
    const std::int64_t first = firstSector - StreamStart;
    const SectorRange& held = block_.sectors;
    if (first >= held.first && first - held.first <= held.count - count) {
        const auto size = static_cast<std::size_t>(medium_.SectorSize());
        const std::int64_t before = first - held.first;
        std::memcpy(buffer, block_.Read(before + count) + static_cast<std::size_t>(before) * size,
                    static_cast<std::size_t>(count) * size);
    } else {
        medium_.Read(first, buffer, count);
    }
    return 1;
}

std::int32_t StreamSource::GetGeometry(SectorGeometry* geometry) {
    *geometry = {static_cast<std::uint32_t>(medium_.SectorSize()), medium_.SectorCount()};
    return 1;
}

}  // namespace salvor
