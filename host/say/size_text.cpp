#include "host/say/size_text.h"

#include <fmt/format.h>

#include <array>
#include <cctype>
#include <charconv>
#include <limits>
#include <string_view>

namespace salvor {

namespace {

constexpr std::array<const char*, 6> Units = {"bytes", "KiB", "MiB", "GiB", "TiB", "PiB"};

// The power of 1024 of a unit such as "", "b", "bytes", "k", "KB", " KiB"; nothing for other text.
std::optional<int> UnitPower(std::string_view unit) {
    std::string lower;
    for (const char letter : unit) {
        if (letter != ' ') {
            lower += static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
        }
    }
    if (lower.empty() || lower == "b" || lower == "byte" || lower == "bytes") {
        return 0;
    }
    const std::size_t power = std::string_view("kmgtp").find(lower[0]);
    const std::string_view rest = std::string_view(lower).substr(1);
    if (power == std::string_view::npos || !(rest.empty() || rest == "b" || rest == "ib")) {
        return std::nullopt;
    }
    return static_cast<int>(power) + 1;
}

}  // namespace

std::optional<std::int64_t> ParseSize(const std::string& text) {
    double number = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number, std::chars_format::fixed);
    const std::optional<int> power = UnitPower(std::string_view(stop, static_cast<std::size_t>(end - stop)));
    if (error != std::errc() || !power || !(number >= 0)) {
        return std::nullopt;
    }
    for (int i = 0; i < *power; ++i) {
        number *= 1024;
    }
    constexpr double beyond = 9223372036854775808.0;  // 2^63
    return number < beyond ? std::optional(static_cast<std::int64_t>(number)) : std::nullopt;
}

std::string FormatExactSize(std::int64_t bytes) {
    std::size_t unit = 0;
    while (bytes != 0 && bytes % 1024 == 0 && unit + 1 < Units.size()) {
        bytes /= 1024;
        ++unit;
    }
    return fmt::format("{} {}", bytes, Units[unit]);
}

std::string FormatSize(std::int64_t bytes) {
    if (bytes < 1024) {
        return fmt::format("{} bytes", bytes);
    }
    auto number = static_cast<double>(bytes);
    std::size_t unit = 0;
    while (number >= 1024 && unit + 1 < Units.size()) {
        number /= 1024;
        ++unit;
    }
    return fmt::format("{:.1f} {}", number, Units[unit]);
}

std::string Counted(std::int64_t count, const std::string& noun) {
    return fmt::format("{} {}{}", count, noun, count == 1 ? "" : "s");
}

std::int64_t AddSizes(std::int64_t a, std::int64_t b) {
    constexpr std::int64_t largest = std::numeric_limits<std::int64_t>::max();
    return a > largest - b ? largest : a + b;
}

}  // namespace salvor
