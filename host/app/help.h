#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <string_view>
#include <vector>

namespace salvor {

/// Options of a command that belong together, in their order.
struct OptionGroup {
    std::string title;
    std::vector<const CLI::Option*> options;
};

/// Commands that belong together.
struct CommandGroup {
    std::string title;
    std::vector<const CLI::App*> commands;
};

// What the command line says of itself: help, man pages and completion are made of it. Options and commands whose group
// is empty are left out.
std::vector<OptionGroup> OptionGroupsOf(const CLI::App& command);
std::vector<CommandGroup> CommandGroupsOf(const CLI::App& program);
/// As in "--types LIST" or "IMAGE".
std::string NameOf(const CLI::Option& option);
/// As in "salvor scan IMAGE --report FINDS [OPTIONS]".
std::string UsageOf(const CLI::App& command);

/// Words of the text on lines that begin with `indent` blanks, but for the first, and have 80 columns at most.
std::string Wrapped(std::string_view text, std::size_t indent);

/// Makes `--help` of the program and of all commands that are added later say what the functions above give.
void UseOwnHelp(CLI::App& program);

/// One line for a command line that cannot be understood: what is wrong, and what was most likely meant.
std::string UsageErrorText(const CLI::App& program, const CLI::ParseError& error);

}  // namespace salvor
