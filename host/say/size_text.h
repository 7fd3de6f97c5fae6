#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace salvor {

/// Bytes from text such as "300", "64K", "1.5M", "2 GiB", "512 bytes" (K, M, G, T, P are powers of 1024; letter case,
/// blanks and a following "B" or "iB" do not matter). Nothing for other text, negative numbers and numbers above the
/// signed 64-bit range.
std::optional<std::int64_t> ParseSize(const std::string& text);

/// Bytes in the largest unit that gives a whole number: "10 MiB", "2147483647 bytes".
std::string FormatExactSize(std::int64_t bytes);

/// Bytes as people read them: "512 bytes", "64.0 KiB".
std::string FormatSize(std::int64_t bytes);

/// "1 file", "12 files": `noun` with its count, for nouns whose plural ends with "s".
std::string Counted(std::int64_t count, const std::string& noun);

/// The sum of two sizes, limited to the largest number.
std::int64_t AddSizes(std::int64_t a, std::int64_t b);

}  // namespace salvor
