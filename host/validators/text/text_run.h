#pragma once

#include <cstdint>

#include "host/validators/place.h"

namespace salvor {

/// A run of text: ASCII, UTF-8 or an 8-bit code page.
struct TextRun {
    enum class Behind : std::uint8_t { MediumEnd, Zeros, Binary, OtherFile };

    /// The end of its last byte, in bytes from the place's start.
    std::int64_t end = 0;
    /// Where bytes stop being text. Bytes between the two are printable by chance.
    std::int64_t printableEnd = 0;
    Behind behind = Behind::MediumEnd;
    /// It has bytes beyond ASCII that are not UTF-8.
    bool isCodePage = false;
};

/// Follows the text that begins at `from`. Bytes before binary data that are printable by chance are left out.
TextRun FollowText(Place& file, std::int64_t from);

/// The same for UTF-16, which begins at `from`, after a byte-order mark if it has one.
TextRun FollowUtf16(Place& file, std::int64_t from, bool isBigEndian);

/// True if all bytes from `offset` to the end of its sector are zeros; at a sector start, 16 of them are enough. True
/// at the medium's end.
bool IsZeroFilled(Place& file, std::int64_t offset);

}  // namespace salvor
