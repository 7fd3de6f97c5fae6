#pragma once

#include <algorithm>
#include <cstdint>

#include "frame/bytes/BytePattern.h"
#include "host/validators/place.h"

namespace salvor {

/// True if a file's mark is so short, or so near to silence, that samples of sound often look like it: a frame of MPEG
/// audio, a bitmap, an icon, a cursor or a PCX picture.
inline bool IsWeakMark(ByteSpan head) {
    if (head.size() < 4) {
        return true;
    }
    const bool isFrame = head[0] == 0xFF && (head[1] & 0xE0U) == 0xE0U;
    const bool isIcon = head[0] == 0 && head[1] == 0 && head[3] == 0;
    return isFrame || isIcon || head[0] == 0x0A || StartsWith(head, PatternOf("BM"));
}

/// The end of a sound of unknown length that begins at `from`: at the next file, or at a run of equal bytes up to a
/// sector's end or longer than silence is. Offsets in bytes from the place's start.
inline std::int64_t EndOfOpenSound(Place& file, std::int64_t from) {
    constexpr std::int64_t fewestEqual = 16;
    constexpr std::int64_t mostEqual = 0x40000;
    std::int64_t limit = file.NextStart(from);
    while (limit < file.Limit() && IsWeakMark(file.From(limit, 4))) {
        limit = file.NextStart(limit + 1);
    }
    std::int64_t run = from;
    int last = -1;
    for (std::int64_t at = from; at < limit;) {
        const ByteSpan bytes = file.From(at);
        if (bytes.empty()) {
            return at;
        }
        for (const std::uint8_t byte : bytes.first(static_cast<std::size_t>(
                 std::min<std::int64_t>(limit - at, static_cast<std::int64_t>(bytes.size()))))) {
            // A file that begins with the slack's bytes ends the slack too.
            const bool isSlack = byte != last && at - run >= fewestEqual &&
                                 (at % file.SectorSize() == 0 || file.NextStart(run + fewestEqual) < at);
            if (isSlack) {
                return run;
            }
            if (byte != last) {
                run = at;
                last = byte;
            } else if (at - run >= mostEqual) {
                return run;
            }
            ++at;
        }
    }
    return limit - run >= fewestEqual ? run : limit;
}

}  // namespace salvor
