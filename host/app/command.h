#pragma once

#include <functional>
#include <string>
#include <variant>
#include <vector>

#include "host/say/failure.h"

namespace salvor {

/// Where what the person gave goes: flags, single values, lists (their words stand between commas), and functions that
/// take a value and throw `Failure` (usage) for one that they do not know. What it points to outlives the command. A
/// flag that goes nowhere is answered by the parser: help and version.
using OptionTarget =
    std::variant<bool*, std::string*, std::vector<std::string>*, std::function<void(const std::string&)>>;

/// One option of a command, or a word that it takes.
struct Option {
    /// "--types", with a letter "-q,--quiet", or for a word what the help calls it: "IMAGE".
    std::string name;
    OptionTarget target;
    std::string help = {};
    /// What the help calls its value; empty for flags and words.
    std::string value = {};
    /// The help's title above it. Empty for the group that its kind has by default.
    std::string group = {};
    bool isRequired = false;
    /// The help leaves it out.
    bool isHidden = false;
    /// The values that it takes; empty for any.
    std::vector<std::string> values = {};
    /// Names of options that it cannot stand beside.
    std::vector<std::string> excludes = {};

    bool IsWord() const { return !name.starts_with('-'); }
    bool IsFlag() const { return std::holds_alternative<bool*>(target); }
    /// Without the letter.
    std::string LongName() const { return name.substr(name.find(',') + 1); }
};

/// A command as the person sees it. Help, man pages and completions are made of this; only one source knows the library
/// that parses, which takes long to compile.
struct Command {
    std::string name;
    std::string description;
    /// The title above it in the program's help.
    std::string group;
    /// What stands below its options.
    std::string footer = {};
    std::vector<Option> options = {};
    /// Does what the parsed line asks for; throws `Failure` for what ends it at once.
    std::function<ExitStatus()> run = {};
};

struct Program {
    std::string name;
    std::string description;
    std::string footer;
    std::vector<Option> options = {};
    std::vector<Command> commands = {};
};

Command ScanCommandLine();
Command MergeCommandLine();
Command ValidateCommandLine();
Command ExtractCommandLine();
Command RecoverCommandLine();
Command ListCommandLine();
Command ReportCommandLine();
Command MountCommandLine();
Command InspectCommandLine();
Command InfoCommandLine();
Command ExportMapCommandLine();
Command TypesCommandLine();
// These tell of the program, which is complete when they run.
Command ManCommandLine(const Program& program);
Command CompletionCommandLine(const Program& program);

/// Parses the command line and runs what it names; the program's exit status. Failures are one line on stderr.
int RunCommandLine(int argc, const char* const* argv);

}  // namespace salvor
