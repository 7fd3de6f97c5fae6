#pragma once

#include <array>
#include <cstdint>

#include "frame/bytes/Bytes.h"
#include "frame/read/ReadAt.h"

/// The trailer that Canon's programs append to an edited raw: the recipe of the edit between a header of 28 bytes,
/// which gives its length, and a footer of 64. Both begin with the same signature.
struct CanonTrailer {
    static constexpr auto Mark = PatternOf("CANON OPTIONAL DATA\0");
    static constexpr std::size_t HeadBytes = 0x1C;
    static constexpr std::size_t LengthOffset = 0x18;
    static constexpr std::int64_t FootBytes = 0x40;

    /// The end of the trailer that begins at `end`; `end` itself if there is none. `File` is a reader that
    /// `ReadAt` takes.
    template <class File>
    static std::int64_t EndAfter(File& file, std::int64_t end) {
        std::array<std::uint8_t, HeadBytes> head{};
        if (!ReadAt(file, end, head) || !StartsWith(head, Mark)) {
            return end;
        }
        const std::int64_t foot =
            end + static_cast<std::int64_t>(HeadBytes) + LoadBig<std::uint32_t>(head, LengthOffset);
        std::array<std::uint8_t, Mark.size()> footMark{};
        return ReadAt(file, foot, footMark) && footMark == Mark ? foot + FootBytes : end;
    }

    /// The same for programs that append it later and put a byte before it if `end` is odd.
    template <class File>
    static std::int64_t EndAfterPadded(File& file, std::int64_t end) {
        for (const std::int64_t start : {end, end + 1}) {
            if (const std::int64_t behind = EndAfter(file, start); behind != start) {
                return behind;
            }
        }
        return end;
    }
};
