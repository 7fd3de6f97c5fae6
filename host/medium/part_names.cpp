#include "host/medium/part_names.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <string_view>

namespace salvor {

namespace {

// Counting in the letters from `first` to `last`.
struct Letters {
    char first;
    char last;

    bool HoldAll(std::string_view text) const {
        return std::ranges::all_of(text, [this](char letter) { return letter >= first && letter <= last; });
    }
};

constexpr Letters Digits{'0', '9'};
constexpr Letters Small{'a', 'z'};
constexpr Letters Capital{'A', 'Z'};

// The count at the end of a part's name, and the stem before it.
struct PartName {
    std::string stem;
    std::string count;
    Letters letters;

    std::string With(const std::string& other) const { return stem + other; }
};

std::optional<PartName> Understand(const std::string& name) {
    constexpr std::size_t fewest = 2;
    constexpr std::size_t most = 9;
    const std::size_t dot = name.rfind('.');
    if (dot == std::string::npos || dot == 0) {
        return std::nullopt;
    }
    const std::string count = name.substr(dot + 1);
    for (const Letters letters : {Digits, Small, Capital}) {
        if (count.size() >= fewest && count.size() <= most && letters.HoldAll(count)) {
            return PartName{name.substr(0, dot + 1), count, letters};
        }
    }
    return std::nullopt;
}

// How many times the last letter stands at the start of a count.
std::size_t FullLetters(const std::string& count, Letters letters) {
    return std::min(count.find_first_not_of(letters.last), count.size());
}

}  // namespace

std::vector<std::string> NextPartNames(const std::string& name) {
    const auto part = Understand(name);
    if (!part) {
        return {};
    }
    const bool isNumber = part->letters.first == Digits.first;
    std::string next = part->count;
    const std::size_t at = next.find_last_not_of(part->letters.last);
    if (at == std::string::npos) {
        return isNumber ? std::vector{part->With("1" + std::string(next.size(), '0'))} : std::vector<std::string>();
    }
    ++next[at];
    std::fill(next.begin() + static_cast<std::ptrdiff_t>(at) + 1, next.end(), part->letters.first);
    std::vector names{part->With(next)};
    // When the number of parts is not known in advance, a new 'z' at the start adds two letters.
    if (!isNumber && FullLetters(next, part->letters) > FullLetters(part->count, part->letters)) {
        names.push_back(part->With(next + std::string(2, part->letters.first)));
    }
    return names;
}

std::vector<std::string> FirstPartNames(const std::string& name) {
    const auto part = Understand(name);
    if (!part) {
        return {};
    }
    std::string first(part->count.size(), part->letters.first);
    std::vector names{part->With(first)};
    if (part->letters.first == Digits.first) {
        first.back() = '1';
        names.push_back(part->With(first));
    }
    return names;
}

}  // namespace salvor
