#include "host/app/selection.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <system_error>
#include <tuple>
#include <utility>

#include "host/say/failure.h"
#include "host/scan/scanners.h"

namespace salvor {

namespace {

std::set<std::int32_t> TypesOf(const std::string& option, const std::vector<std::string>& words) {
    std::set<std::int32_t> types;
    for (const std::string& word : words) {
        const std::vector<std::int32_t> named = RequireTypes(option, word);
        types.insert(named.begin(), named.end());
    }
    return types;
}

std::vector<Verdict> VerdictsOf(const std::vector<std::string>& words) {
    std::vector<Verdict> verdicts;
    for (const std::string& word : words) {
        if (const auto verdict = VerdictNamed(word)) {
            verdicts.push_back(*verdict);
        }
    }
    return verdicts;
}

// Pixels of a picture's width and height, or none.
std::optional<std::pair<std::int64_t, std::int64_t>> PixelsIn(const std::string& text) {
    const std::size_t sign = text.find_first_of("xX");
    const auto number = [](std::string_view digits) {
        std::int64_t value = 0;
        const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
        return error == std::errc() && end == digits.data() + digits.size() && value > 0 ? value : 0;
    };
    if (sign == std::string::npos) {
        return std::nullopt;
    }
    const std::pair pixels{number(std::string_view(text).substr(0, sign)),
                           number(std::string_view(text).substr(sign + 1))};
    return pixels.first > 0 && pixels.second > 0 ? std::optional(pixels) : std::nullopt;
}

// A year, a month or a day.
bool IsDate(std::string_view text) {
    constexpr std::string_view pattern = "0000-00-00";
    const bool isLong = text.size() == 4 || text.size() == 7 || text.size() == pattern.size();
    const bool isLike = isLong && std::ranges::equal(text, pattern.substr(0, text.size()), [](char c, char like) {
                            return like == '0' ? c >= '0' && c <= '9' : c == like;
                        });
    return isLike && (text.size() < 7 || (text.substr(5, 2) >= "01" && text.substr(5, 2) <= "12")) &&
           (text.size() < pattern.size() || (text.substr(8) >= "01" && text.substr(8) <= "31"));
}

void TakeTime(const std::string& text, PlanFilter& filter) {
    const std::size_t dots = text.find("..");
    filter.takenFrom = text.substr(0, dots);
    filter.takenTo = dots == std::string::npos ? text : text.substr(dots + 2);
    const auto isBound = [](const std::string& date) {
        return date.empty() || IsDate(date);
    };
    if (!isBound(filter.takenFrom) || !isBound(filter.takenTo) || text.size() < 4) {
        throw Failure(ExitStatus::Usage,
                      fmt::format("--taken: '{}' is not a date; write a year, a month or a day as 2019, "
                                  "2019-05 or 2019-05-31, or two of them as 2018..2019-05",
                                  text));
    }
    if (!filter.takenTo.empty() && filter.takenFrom.substr(0, filter.takenTo.size()) > filter.takenTo) {
        throw Failure(ExitStatus::Usage, fmt::format("--taken: '{}' ends before it begins", text));
    }
}

void RequireSize(const PlanFilter& filter) {
    const auto mayHaveSize = [&filter](std::int32_t type) {
        const auto smallest = filter.minSize.For(type);
        const auto largest = filter.maxSize.For(type);
        return !smallest || !largest || *smallest <= *largest;
    };
    if (!filter.types.empty() && std::ranges::none_of(filter.types, mayHaveSize)) {
        throw Failure(ExitStatus::Usage, "--min-size and --max-size leave no size to look for");
    }
}

}  // namespace

std::vector<std::int32_t> SelectTypes(const FilterOptions& options) {
    const std::set<std::int32_t> wanted = TypesOf("--types", options.types);
    const std::set<std::int32_t> excluded = TypesOf("--exclude", options.exclude);
    std::vector<std::int32_t> selected;
    std::ranges::copy_if(AllTypes(), std::back_inserter(selected), [&](std::int32_t type) {
        return (wanted.empty() || wanted.contains(type)) && !excluded.contains(type);
    });
    if (selected.empty()) {
        throw Failure(ExitStatus::Usage, "--types and --exclude leave no type to look for");
    }
    return selected;
}

PlanFilter MakeFilter(const FilterOptions& options) {
    PlanFilter filter;
    filter.types = SelectTypes(options);
    if (options.noText) {
        std::erase_if(filter.types, IsPlainTextType);
    }
    filter.minSize = ParseSizeRule("--min-size", options.minSize);
    filter.maxSize = ParseSizeRule("--max-size", options.maxSize);
    RequireSize(filter);
    filter.only = VerdictsOf(options.only);
    filter.withEmbedded = options.withEmbedded;
    filter.asReported = options.asReported;
    filter.allClaims = options.all;
    if (!options.minPixels.empty()) {
        const auto pixels = PixelsIn(options.minPixels);
        if (!pixels) {
            throw Failure(
                ExitStatus::Usage,
                fmt::format("--min-pixels: '{}' is not the size of a picture; write width and height as 640x480",
                            options.minPixels));
        }
        std::tie(filter.leastShortSide, filter.leastLongSide) = std::minmax(pixels->first, pixels->second);
    }
    if (!options.taken.empty()) {
        TakeTime(options.taken, filter);
    }
    return filter;
}

ContentFilter MakeContentFilter(const FilterOptions& options) {
    ContentFilter filter;
    filter.unique = options.unique;
    for (const std::string& path : options.known) {
        filter.known.Add(path);
    }
    return filter;
}

}  // namespace salvor
