#pragma once

#include <cstddef>
#include <cstdint>

/// Compares exactly `n` bytes without regard to ASCII letter case; zero bytes do not stop it. Returns 0 when all
/// match, otherwise the difference of the two folded bytes at the first difference, each taken as a signed 8-bit value.
std::int32_t CompareBytesNoCase(const void* a, const void* b, std::size_t n);
