#include "host/app/choices.h"

#include <fmt/format.h>

#include <algorithm>

#include "host/app/options.h"
#include "host/say/say.h"

namespace salvor {

namespace {

using Words = std::vector<std::string>;

// The value at an option's target; nothing for a flag that is not set or for an empty text.
Words WordsAt(const OptionTarget& target) {
    if (const auto* const flag = std::get_if<bool*>(&target)) {
        return **flag ? Words{""} : Words();
    }
    if (const auto* const text = std::get_if<std::string*>(&target)) {
        return (*text)->empty() ? Words() : Words{**text};
    }
    const auto* const list = std::get_if<Words*>(&target);
    return list != nullptr ? **list : Words();
}

void Put(const Words& words, const OptionTarget& target) {
    if (const auto* const flag = std::get_if<bool*>(&target)) {
        **flag = !words.empty();
    } else if (const auto* const text = std::get_if<std::string*>(&target)) {
        **text = words.empty() ? "" : words.front();
    } else if (const auto* const list = std::get_if<Words*>(&target)) {
        **list = words;
    }
}

// "with --min-size 10K", "without --all".
std::string Text(const Option& option, const Words& words) {
    const std::string value = option.IsFlag() || words.empty() ? "" : fmt::format(" {}", fmt::join(words, ","));
    return (words.empty() ? "without " : "with ") + option.LongName() + value;
}

}  // namespace

ChosenOptions::ChosenOptions(const Command& command) {
    for (const Option& option : command.options) {
        if (option.group == WhatToWrite || option.group == WhatToLookFor || option.name == "--names") {
            options_.push_back({option, WordsAt(option.target)});
        }
    }
}

Choices ChosenOptions::Given() const {
    Choices given;
    for (const auto& [option, byDefault] : options_) {
        if (Words words = WordsAt(option.target); words != byDefault) {
            given[option.LongName()] = std::move(words);
        }
    }
    return given;
}

void ChosenOptions::GoOnWith(const Choices& kept, const std::filesystem::path& folder) const {
    const auto before = [&kept](const One& one) -> const Words& {
        const auto found = kept.find(one.option.LongName());
        return found == kept.end() ? one.byDefault : found->second;
    };
    const auto isOther = [&before](const One& one) {
        return !std::ranges::is_permutation(WordsAt(one.option.target), before(one));
    };
    // All options are compared before the user reads that the recovery goes on.
    for (const One& one : options_) {
        if (isOther(one) && WordsAt(one.option.target) != one.byDefault && one.option.group != WhatToLookFor) {
            throw Failure(
                ExitStatus::Usage,
                fmt::format("the recovery in '{}' was begun {}; leave the option out to go on with it, or name "
                            "another folder",
                            folder.string(), Text(one.option, before(one))));
        }
    }
    for (const One& one : options_) {
        if (isOther(one) && WordsAt(one.option.target) == one.byDefault) {
            Put(before(one), one.option.target);
            Say("goes on {}", Text(one.option, before(one)));
        }
    }
}

}  // namespace salvor
