#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

/// Writes `capacity - 1` bytes to `buffer`: a shorter text followed by zeros, a longer one cut and without terminator.
/// The byte at index `capacity - 1` stays as it is. Does nothing when a pointer is null or when the count, taken as a
/// signed 32-bit value, is not positive.
inline void CopyBoundedText(char* buffer, std::uint32_t capacity, const char* text) {
    const auto count = static_cast<std::int32_t>(capacity - 1U);
    if (buffer == nullptr || text == nullptr || count <= 0) {
        return;
    }
    const auto most = static_cast<std::size_t>(count);
    char* const end = std::copy_n(text, strnlen(text, most), buffer);
    std::fill(end, buffer + most, '\0');
}
