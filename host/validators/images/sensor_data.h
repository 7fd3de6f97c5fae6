#pragma once

#include <algorithm>
#include <cstdint>
#include <iterator>

#include "host/validators/place.h"

namespace salvor {

/// The start, at or after `start`, of zeros that reach `end`; `end` itself if they are few. A dark picture may end with
/// some rows of zeros, but not with as many as an empty medium has after a file that lost its data.
inline std::int64_t StartOfZeros(Place& file, std::int64_t start, std::int64_t end) {
    constexpr std::int64_t shortRun = 0x8000;
    std::int64_t at = end;
    while (at > start) {
        const std::int64_t from = std::max(start, at - static_cast<std::int64_t>(ByteWindow::PieceBytes));
        const ByteSpan bytes = file.At(from, static_cast<std::size_t>(at - from));
        const auto last = std::find_if(bytes.rbegin(), bytes.rend(), [](std::uint8_t byte) { return byte != 0; });
        if (bytes.empty() || last != bytes.rend()) {
            at -= std::distance(bytes.rbegin(), last);
            break;
        }
        at = from;
    }
    return end - at < shortRun ? end : at;
}

}  // namespace salvor
