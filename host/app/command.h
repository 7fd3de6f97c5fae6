#pragma once

#include <functional>
#include <string>
#include <variant>
#include <vector>

#include "host/say/failure.h"

namespace salvor {

/// Where an option's value goes: a flag, a text, a list (given with commas), or a function that takes the value and
/// throws `Failure` (usage) if it is unknown. The target outlives the command. Flags without a target are help and
/// version, which the parser answers itself.
using OptionTarget =
    std::variant<bool*, std::string*, std::vector<std::string>*, std::function<void(const std::string&)>>;

/// One option of a command, or one of its arguments.
struct Option {
    /// "--types", with a letter "-q,--quiet", or for an argument its name in the help: "IMAGE".
    std::string name;
    OptionTarget target;
    std::string help = {};
    /// The placeholder for its value in the help; empty for flags and arguments.
    std::string value = {};
    /// The help's title above it; empty for the default one.
    std::string group = {};
    bool isRequired = false;
    /// Left out of the help.
    bool isHidden = false;
    /// The accepted values; empty if any is.
    std::vector<std::string> values = {};
    /// Names of options that exclude this one.
    std::vector<std::string> excludes = {};

    bool IsWord() const { return !name.starts_with('-'); }
    bool IsFlag() const { return std::holds_alternative<bool*>(target); }
    /// Without the letter.
    std::string LongName() const { return name.substr(name.find(',') + 1); }
};

/// A command as the user sees it. Help, man pages and completions are made from this. The parsing library takes long to
/// compile, so only one source includes it.
struct Command {
    std::string name;
    std::string description;
    /// The title above it in the program's help.
    std::string group;
    /// The text below its options.
    std::string footer = {};
    std::vector<Option> options = {};
    /// Does what the parsed line asks for; throws `Failure` for errors that end it at once.
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
// These describe the program, which is complete by the time that they run.
Command ManCommandLine(const Program& program);
Command CompletionCommandLine(const Program& program);

/// Parses the command line and runs the command; gives the program's exit status. A failure is one line on stderr.
int RunCommandLine(int argc, const char* const* argv);

}  // namespace salvor
