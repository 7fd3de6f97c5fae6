#include <fmt/format.h>

#include <array>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/app/command.h"
#include "host/app/help.h"
#include "host/say/say.h"
#include "host/scan/scanners.h"

namespace salvor {

namespace {

struct Completion {
    std::string names;
    std::string help;
    /// The possible values of the option; "FILE" for any file, empty for a flag.
    std::string values;
};

// For use inside a shell's single quotes.
std::string Quoted(std::string_view text) {
    std::string quoted = "'";
    for (const char letter : text) {
        quoted += letter == '\'' ? "'\\''" : std::string(1, letter);
    }
    return quoted + "'";
}

std::string Joined(const std::vector<std::string>& words) { return fmt::format("{}", fmt::join(words, " ")); }

std::string ValuesOf(const Option& option) {
    if (option.IsFlag()) {
        return "";
    }
    if (const std::string name = option.LongName(); name == "--types" || name == "--exclude") {
        return Joined(TypeWords());
    }
    return option.values.empty() ? "FILE" : Joined(option.values);
}

std::vector<Completion> CompletionsOf(const Command& command) {
    std::vector<Completion> completions;
    for (const OptionGroup& group : OptionGroupsOf(command.options)) {
        for (const Option* const option : group.options) {
            if (!option->IsWord()) {
                completions.push_back({option->LongName(), option->help, ValuesOf(*option)});
            }
        }
    }
    return completions;
}

std::vector<const Command*> CommandsOf(const Program& program) {
    std::vector<const Command*> commands;
    for (const CommandGroup& group : CommandGroupsOf(program)) {
        commands.insert(commands.end(), group.commands.begin(), group.commands.end());
    }
    return commands;
}

std::string NamesOf(const std::vector<const Command*>& commands) {
    std::vector<std::string> names;
    names.reserve(commands.size());
    for (const Command* const command : commands) {
        names.push_back(command->name);
    }
    return Joined(names);
}

// Lists are given with commas: the last word is completed.
std::string Bash(const Program& program) {
    const std::vector<const Command*> commands = CommandsOf(program);
    std::string options;
    std::string values;
    for (const Command* const command : commands) {
        std::vector<std::string> names;
        for (const Completion& one : CompletionsOf(*command)) {
            names.push_back(one.names);
            if (!one.values.empty() && one.values != "FILE" &&
                values.find(" " + one.names + ")") == std::string::npos) {
                values += fmt::format("        {}) words={} ;;\n", one.names, Quoted(one.values));
            }
        }
        options += fmt::format("        {}) words={} ;;\n", command->name, Quoted(Joined(names)));
    }
    return fmt::format(R"(_salvor() {{
    local word=${{COMP_WORDS[COMP_CWORD]}} before=${{COMP_WORDS[COMP_CWORD-1]}} words= front=
    COMPREPLY=()
    if [[ $COMP_CWORD -eq 1 ]]; then
        COMPREPLY=($(compgen -W {0} -- "$word"))
        return
    fi
    case $before in
{1}    esac
    if [[ -n $words ]]; then
        [[ $word == *,* ]] && front=${{word%,*}},
        COMPREPLY=($(compgen -P "$front" -W "$words" -- "${{word##*,}}"))
        return
    fi
    [[ $word == -* ]] || return
    case ${{COMP_WORDS[1]}} in
{2}    esac
    COMPREPLY=($(compgen -W "$words" -- "$word"))
}}
complete -o default -F _salvor salvor
)",
                       Quoted(NamesOf(commands)), values, options);
}

// For use between the brackets and colons of zsh's specifications.
std::string ZshText(std::string_view text) {
    std::string escaped;
    for (const char letter : text) {
        escaped += std::string_view("[]:\\").find(letter) == std::string_view::npos ? "" : "\\";
        escaped += letter;
    }
    return escaped;
}

std::string Zsh(const Program& program) {
    std::string commands;
    std::string options;
    for (const Command* const command : CommandsOf(program)) {
        commands += fmt::format("        {}\n", Quoted(command->name + ":" + ZshText(command->description)));
        options += fmt::format("        {}) _arguments", command->name);
        for (const Completion& one : CompletionsOf(*command)) {
            std::string spec = fmt::format("*{}[{}]", one.names, ZshText(one.help));
            if (one.values == "FILE") {
                spec += ":value:_files";
            } else if (!one.values.empty()) {
                spec += ":value:_values -s , value " + one.values;
            }
            options += " \\\n            " + Quoted(spec);
        }
        options += " \\\n            '*:file:_files' ;;\n";
    }
    return fmt::format(R"(#compdef salvor
_salvor() {{
    local -a commands=(
{}    )
    if (( CURRENT == 2 )); then
        _describe command commands
        return
    fi
    local command=$words[2]
    shift words
    (( CURRENT-- ))
    case $command in
{}    esac
}}
if [[ $funcstack[1] == _salvor ]]; then
    _salvor "$@"
else
    compdef _salvor salvor
fi
)",
                       commands, options);
}

std::string Fish(const Program& program) {
    std::string text;
    for (const Command* const command : CommandsOf(program)) {
        text += fmt::format("complete -c salvor -n __fish_use_subcommand -f -a {} -d {}\n", command->name,
                            Quoted(command->description));
        for (const Completion& one : CompletionsOf(*command)) {
            text += fmt::format("complete -c salvor -n '__fish_seen_subcommand_from {}' -l {} -d {}", command->name,
                                one.names.substr(2), Quoted(one.help));
            if (one.values == "FILE") {
                text += " -r";
            } else if (!one.values.empty()) {
                text += fmt::format(R"( -x -a '(__fish_complete_list , "printf %s\\\\n {}")')", one.values);
            }
            text += '\n';
        }
    }
    return text;
}

using Writer = std::string (*)(const Program& program);
constexpr std::array<std::pair<std::string_view, Writer>, 3> Shells = {{{"bash", Bash}, {"zsh", Zsh}, {"fish", Fish}}};

ExitStatus RunCompletion(const Program& program, const std::string& shell) {
    for (const auto& [name, writer] : Shells) {
        if (name == shell) {
            Tell(writer(program));
            return ExitStatus::Done;
        }
    }
    throw Failure(ExitStatus::Usage, fmt::format("'{}' is not one of bash, zsh, fish", shell));
}

}  // namespace

Command CompletionCommandLine(const Program& program) {
    const auto shell = std::make_shared<std::string>();
    Command line{.name = "completion",
                 .description = "Print a script that completes the command line in a shell",
                 .group = "More"};
    line.options.push_back({.name = "SHELL", .target = shell.get(), .help = "bash, zsh or fish", .isRequired = true});
    line.footer = "Example: salvor completion bash > ~/.local/share/bash-completion/completions/salvor";
    line.run = [&program, shell] {
        return RunCompletion(program, *shell);
    };
    return line;
}

}  // namespace salvor
