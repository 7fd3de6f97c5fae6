#pragma once

#include <cstdint>

#include "host/validators/place.h"

namespace salvor {

/// The end of a sound of unknown length that begins at `from`: at the next file, or at a run of equal bytes that is too
/// long for sound. Offsets in bytes from the place's start.
inline std::int64_t EndOfOpenSound(Place& file, std::int64_t from) {
    constexpr int mostEqual = 16;
    const std::int64_t limit = file.NextStart(from);
    int equal = 0;
    int last = -1;
    for (std::int64_t at = from; at < limit;) {
        const ByteSpan bytes = file.From(at);
        if (bytes.empty()) {
            return at;
        }
        for (const std::uint8_t byte : bytes) {
            equal = byte == last ? equal + 1 : 1;
            last = byte;
            ++at;
            if (equal == mostEqual) {
                return at - mostEqual;
            }
            if (at == limit) {
                return limit;
            }
        }
    }
    return limit;
}

}  // namespace salvor
