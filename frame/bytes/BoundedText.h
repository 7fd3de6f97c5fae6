#pragma once

#include <cstdint>

/// Copies `text` into `buffer` with a count of `capacity - 1`: at most that many bytes, the rest of them filled with
/// zeros behind a shorter text, no terminator behind a longer one. The byte at index `capacity - 1` stays as it is.
/// Does nothing when either pointer is null or the count, taken as a signed 32-bit value, is not positive.
void CopyBoundedText(char* buffer, std::uint32_t capacity, const char* text);
