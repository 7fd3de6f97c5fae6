#pragma once

#include <filesystem>
#include <vector>

#include "host/app/command.h"
#include "host/scan/scan_job.h"

namespace salvor {

/// The options of a command by which the person chooses what becomes a file and what it is called.
class ChosenOptions {
public:
    /// Of a command whose line is not parsed yet: what stands where its options go holds by default.
    explicit ChosenOptions(const Command& command);

    /// Those that are not as they are by default.
    Choices Given() const;

    /// Gives options that are as by default the values that the recovery in the folder was begun with, and tells the
    /// person. Throws `Failure` (usage) for others; what a scan looks for the scan itself compares.
    void GoOnWith(const Choices& kept, const std::filesystem::path& folder) const;

private:
    struct One {
        Option option;
        std::vector<std::string> byDefault;
    };
    std::vector<One> options_;
};

}  // namespace salvor
