#pragma once

#include <cstddef>
#include <cstdint>

#include "frame/bytes/Bytes.h"

namespace salvor {

inline constexpr auto Utf8Mark = PatternOf("\xEF\xBB\xBF");
inline constexpr auto Utf16LittleMark = PatternOf("\xFF\xFE");
inline constexpr auto Utf16BigMark = PatternOf("\xFE\xFF");

/// Printable ASCII, and what ends lines and pages or moves the carriage. No short-circuiting: many bytes are tested at
/// once.
constexpr bool IsPlainByte(std::uint8_t byte) {
    return (static_cast<unsigned>(static_cast<std::uint8_t>(byte - 0x20) < 0x5F) |
            static_cast<unsigned>(static_cast<std::uint8_t>(byte - '\t') < 5)) != 0;
}

inline constexpr std::uint8_t Escape = 0x1B;

/// Neither text nor a letter in any code page. ESC is not included: it changes colours and character sets.
constexpr bool IsControlByte(std::uint8_t byte) {
    return (static_cast<unsigned>(byte < 0x80) & static_cast<unsigned>(!IsPlainByte(byte)) &
            static_cast<unsigned>(byte != Escape)) != 0;
}

constexpr bool IsLetter(std::uint8_t byte) { return static_cast<std::uint8_t>((byte | 0x20) - 'a') < 26; }
constexpr bool IsDigit(std::uint8_t byte) { return static_cast<std::uint8_t>(byte - '0') < 10; }

/// Offset of the first byte at or after `from` that is not plain; the length if all are.
std::size_t EndOfPlain(ByteSpan bytes, std::size_t from);

/// Length of the character beyond ASCII at `at`, 2 to 4 bytes; 0 if it is not UTF-8. A character cut by the span's end
/// counts if the part that is there is valid. Overlong forms and surrogates do not count.
std::size_t Utf8Length(ByteSpan bytes, std::size_t at);

/// Offset of the first byte at or after `from` that is neither plain nor UTF-8.
std::size_t EndOfUtf8(ByteSpan bytes, std::size_t from);

/// Offset of the first control byte at or after `from`.
std::size_t EndOfAnyText(ByteSpan bytes, std::size_t from);

/// True if all bytes from `from` on are zeros.
bool IsZeroFrom(ByteSpan bytes, std::size_t from);

}  // namespace salvor
