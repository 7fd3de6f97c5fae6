#pragma once

#include <filesystem>
#include <vector>

#include "host/app/command.h"
#include "host/scan/scan_job.h"

namespace salvor {

/// The options of a command by which the person chooses what becomes a file and what it is called.
class ChosenOptions {
public:
    /// For a command whose line is not parsed yet: the values at its options' targets are the defaults.
    explicit ChosenOptions(const Command& command);

    /// Those that differ from their defaults.
    Choices Given() const;

    /// Sets options that were not given to the values with which the recovery in the folder began, and tells the
    /// person. Throws `Failure` (usage) for options that contradict these. What to look for is compared by the scan
    /// itself.
    void GoOnWith(const Choices& kept, const std::filesystem::path& folder) const;

private:
    struct One {
        Option option;
        std::vector<std::string> byDefault;
    };
    std::vector<One> options_;
};

}  // namespace salvor
