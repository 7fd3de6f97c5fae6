#pragma once

#include <algorithm>
#include <cstdint>

#include "host/validators/place.h"

namespace salvor {

/// Do zeros fill one sector or more between two places, and no more than whole sectors? Then something is missing
/// there. Coded data of an even colour, and metadata, hold runs of zeros too, but those end anywhere.
inline bool HasHoleOfZeros(Place& file, std::int64_t from, std::int64_t to) {
    // Bytes beside the hole that happen to be zero too.
    constexpr std::int64_t chance = 3;
    const std::int64_t sector = file.SectorSize();
    std::int64_t run = 0;
    for (std::int64_t at = from; at < to && !file.IsExhausted();) {
        const auto wanted = std::min(to - at, static_cast<std::int64_t>(ByteWindow::PieceBytes));
        const ByteSpan bytes = file.At(at, static_cast<std::size_t>(wanted));
        if (bytes.empty()) {
            return false;
        }
        for (const std::uint8_t byte : bytes) {
            const bool isHole = byte != 0 && run >= sector && at % sector <= chance &&
                                (sector - (at - run) % sector) % sector <= chance;
            if (isHole) {
                return true;
            }
            run = byte == 0 ? run + 1 : 0;
            ++at;
        }
    }
    return false;
}

}  // namespace salvor
