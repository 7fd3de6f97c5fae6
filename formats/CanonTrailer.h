#pragma once

#include <array>
#include <cstdint>

#include "frame/bytes/Bytes.h"
#include "frame/read/ReadAt.h"

/// What Canon's programs append to a raw when they have edited it: the recipe of the edit between a head of 28 bytes,
/// which says its length, and a foot of 64. Both begin with one mark.
struct CanonTrailer {
    static constexpr auto Mark = PatternOf("CANON OPTIONAL DATA\0");
    static constexpr std::size_t HeadBytes = 0x1C;
    static constexpr std::size_t LengthOffset = 0x18;
    static constexpr std::int64_t FootBytes = 0x40;

    /// The offset behind the trailer that stands at `end`; `end` itself if none does. `File` is a reader that `ReadAt`
    /// takes.
    template <class File>
    static std::int64_t EndBehind(File& file, std::int64_t end) {
        std::array<std::uint8_t, HeadBytes> head{};
        if (!ReadAt(file, end, head) || !StartsWith(head, Mark)) {
            return end;
        }
        const std::int64_t foot =
            end + static_cast<std::int64_t>(HeadBytes) + LoadBig<std::uint32_t>(head, LengthOffset);
        std::array<std::uint8_t, Mark.size()> footMark{};
        return ReadAt(file, foot, footMark) && footMark == Mark ? foot + FootBytes : end;
    }
};
