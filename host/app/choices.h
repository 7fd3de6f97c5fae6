#pragma once

#include <filesystem>
#include <vector>

#include "host/app/command.h"
#include "host/scan/scan_job.h"

namespace salvor {

/// The options of a command with which the user chooses what becomes a file and how it is named.
class ChosenOptions {
public:
    /// The command's line must not be parsed yet: the values at its options' targets are taken as the defaults.
    explicit ChosenOptions(const Command& command);

    /// The options that differ from their defaults.
    Choices Given() const;

    /// Sets options that were not given to the values with which the recovery in the folder began, and tells the user.
    /// Throws `Failure` (usage) for options that contradict these. The scan itself compares the options of what to look
    /// for.
    void GoOnWith(const Choices& kept, const std::filesystem::path& folder) const;

private:
    struct One {
        Option option;
        std::vector<std::string> byDefault;
    };
    std::vector<One> options_;
};

}  // namespace salvor
