#include "host/details/times.h"

#include <fmt/chrono.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <ctime>
#include <iomanip>
#include <sstream>

namespace salvor {

namespace {

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// Reads no further than to the year, which comes last: "Tue May  4 12:33:10 2021".
std::string TimeOfWords(std::string_view text) {
    std::istringstream words{std::string(text)};
    std::tm time{};
    words >> std::get_time(&time, "%a %b %d %H:%M:%S %Y");
    return words.fail() ? "" : fmt::format("{:%Y-%m-%dT%H:%M:%S}", time);
}

// "20210504" and up to six digits more.
std::string TimeOfDigits(std::string_view digits) {
    std::array<char, 14> all{};
    all.fill('0');
    std::copy_n(digits.begin(), std::min(digits.size(), all.size()), all.begin());
    const std::string_view text(all.data(), all.size());
    return fmt::format("{}-{}-{}T{}:{}:{}", text.substr(0, 4), text.substr(4, 2), text.substr(6, 2), text.substr(8, 2),
                       text.substr(10, 2), text.substr(12, 2));
}

}  // namespace

std::string TimeOfSeconds(std::int64_t seconds) {
    constexpr std::int64_t endOf9999 = 253'402'300'800;
    return seconds > 0 && seconds < endOf9999
               ? fmt::format("{:%Y-%m-%dT%H:%M:%S}", fmt::gmtime(static_cast<std::time_t>(seconds)))
               : "";
}

std::string TimeOfFileTime(std::uint64_t units) {
    constexpr std::uint64_t unitsOfSecond = 10'000'000;
    constexpr std::int64_t secondsTo1970 = 11'644'473'600;
    return TimeOfSeconds(static_cast<std::int64_t>(units / unitsOfSecond) - secondsTo1970);
}

std::string TimeIn(std::string_view text) {
    constexpr std::size_t day = 10;
    constexpr std::size_t second = 19;
    constexpr std::size_t dayDigits = 8;
    text.remove_prefix(text.starts_with("D:") ? 2 : 0);
    const auto digits = static_cast<std::size_t>(std::ranges::find_if_not(text, IsDigit) - text.begin());
    if (digits >= dayDigits) {
        return TimeOfDigits(text.substr(0, digits));
    }
    if (digits != 4) {
        return TimeOfWords(text);
    }
    std::string time(text.substr(0, second));
    time += time.size() == day ? "T00:00:00" : "";
    if (time.size() < second) {
        return {};
    }
    time[4] = time[7] = '-';
    time[day] = 'T';
    return time;
}

}  // namespace salvor
