#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "host/app/command.h"

namespace salvor {

/// A group of options of a command, in their order.
struct OptionGroup {
    std::string title;
    std::vector<const Option*> options;
};

/// A group of commands.
struct CommandGroup {
    std::string title;
    std::vector<const Command*> commands;
};

// Describes the command line: help, man pages and completions are made from it. Hidden options are left out.
std::vector<OptionGroup> OptionGroupsOf(const std::vector<Option>& options);
std::vector<CommandGroup> CommandGroupsOf(const Program& program);
/// As in "--types LIST" or "IMAGE".
std::string NameOf(const Option& option);
/// As in "salvor scan IMAGE --report FINDS [OPTIONS]".
std::string UsageOf(const Program& program);
std::string UsageOf(const Program& program, const Command& command);

/// Wraps the text to 80 columns; all lines but the first begin with `indent` blanks.
std::string Wrapped(std::string_view text, std::size_t indent);

// The whole text of `--help`.
std::string HelpOf(const Program& program);
std::string HelpOf(const Program& program, const Command& command);

/// The long names of the options that the help shows.
std::vector<std::string> OptionNamesOf(const std::vector<Option>& options);

}  // namespace salvor
