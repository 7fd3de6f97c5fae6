#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <map>
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

std::string ValuesOf(const Program& program, const Option& option) {
    if (option.IsFlag()) {
        return "";
    }
    const std::string name = option.LongName();
    if (name == "--types" || name == "--exclude" || name == "TYPE") {
        return Joined(TypeWords());
    }
    if (name == "COMMAND") {
        return NamesOf(CommandsOf(program));
    }
    return option.values.empty() ? "FILE" : Joined(option.values);
}

struct Completions {
    std::vector<Completion> options;
    /// The possible values of the command's argument, or "FILE".
    std::string values = "FILE";
};

Completions CompletionsOf(const Program& program, const Command& command) {
    Completions completions;
    for (const OptionGroup& group : OptionGroupsOf(command.options)) {
        for (const Option* const option : group.options) {
            std::string values = ValuesOf(program, *option);
            if (option->IsWord()) {
                completions.values = std::move(values);
            } else {
                completions.options.push_back({option->LongName(), option->help, std::move(values)});
            }
        }
    }
    return completions;
}

// Lists are given with commas: the last word is completed.
std::string Bash(const Program& program) {
    const std::vector<const Command*> commands = CommandsOf(program);
    std::string words;
    // By the values: the commands and options that take them.
    std::map<std::string, std::vector<std::string>> takers;
    for (const Command* const command : commands) {
        const Completions completions = CompletionsOf(program, *command);
        std::vector<std::string> names;
        for (const Completion& one : completions.options) {
            names.push_back(one.names);
            if (!one.values.empty() && one.values != "FILE") {
                takers[one.values].push_back(Quoted(command->name + " " + one.names));
            }
        }
        words += fmt::format("        {}:-*) words={} ;;\n", command->name, Quoted(Joined(names)));
        if (completions.values != "FILE") {
            words += fmt::format("        {}:*) words={} ;;\n", command->name, Quoted(completions.values));
        }
    }
    std::string values;
    for (const auto& [text, options] : takers) {
        values += fmt::format("        {}) words={} ;;\n", fmt::join(options, "|"), Quoted(text));
    }
    return fmt::format(R"(_salvor() {{
    local word=${{COMP_WORDS[COMP_CWORD]}} before=${{COMP_WORDS[COMP_CWORD-1]}} words= front=
    COMPREPLY=()
    if [[ $COMP_CWORD -eq 1 ]]; then
        COMPREPLY=($(compgen -W {0} -- "$word"))
        return
    fi
    case "${{COMP_WORDS[1]}} $before" in
{1}    esac
    if [[ -n $words ]]; then
        [[ $word == *,* ]] && front=${{word%,*}},
        COMPREPLY=($(compgen -P "$front" -W "$words" -- "${{word##*,}}"))
        return
    fi
    case ${{COMP_WORDS[1]}}:$word in
{2}    esac
    COMPREPLY=($(compgen -W "$words" -- "$word"))
}}
complete -o default -F _salvor salvor
)",
                       Quoted(NamesOf(commands)), values, words);
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
        const Completions completions = CompletionsOf(program, *command);
        for (const Completion& one : completions.options) {
            std::string spec = fmt::format("*{}[{}]", one.names, ZshText(one.help));
            if (one.values == "FILE") {
                spec += ":value:_files";
            } else if (!one.values.empty()) {
                spec += ":value:_values -s , value " + one.values;
            }
            options += " \\\n            " + Quoted(spec);
        }
        options += fmt::format(" \\\n            '*:word:{}' ;;\n",
                               completions.values == "FILE" ? "_files" : "(" + completions.values + ")");
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
        const Completions completions = CompletionsOf(program, *command);
        if (completions.values != "FILE") {
            text += fmt::format("complete -c salvor -n '__fish_seen_subcommand_from {}' -f -a {}\n", command->name,
                                Quoted(completions.values));
        }
        for (const Completion& one : completions.options) {
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
    const auto* const found = std::ranges::find(Shells, shell, &std::pair<std::string_view, Writer>::first);
    Tell(found->second(program));
    return ExitStatus::Done;
}

}  // namespace

Command CompletionCommandLine(const Program& program) {
    const auto shell = std::make_shared<std::string>();
    Command line{.name = "completion",
                 .description = "Print a script that completes the command line in a shell",
                 .group = "More"};
    line.options.push_back({.name = "SHELL",
                            .target = shell.get(),
                            .help = "bash, zsh or fish",
                            .isRequired = true,
                            .values = {"bash", "zsh", "fish"}});
    line.footer = "Example: salvor completion bash > ~/.local/share/bash-completion/completions/salvor";
    line.run = [&program, shell] {
        return RunCompletion(program, *shell);
    };
    return line;
}

}  // namespace salvor
