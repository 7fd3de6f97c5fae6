#include "host/app/help.h"

#include <fmt/format.h>

#include <algorithm>

#include "host/say/say.h"

namespace salvor {

namespace {

constexpr std::size_t Width = 80;
constexpr std::size_t NameColumn = 24;

// A name and what it means, in two columns.
std::string Entry(const std::string& name, const std::string& text) {
    std::string entry = fmt::format("  {:<{}}", name, NameColumn - 3);
    entry += name.size() > NameColumn - 3 ? "\n" + std::string(NameColumn, ' ') : " ";
    return entry + Wrapped(text, NameColumn) + '\n';
}

std::string Title(const std::string& title) { return "\n" + Bold(title) + "\n"; }

std::string Head(const std::string& description, const std::string& usage) {
    return Wrapped(description, 0) + "\n\n" + Bold("Usage:") + " " + Wrapped(usage, 4) + "\n";
}

std::string Options(const std::vector<Option>& options) {
    std::string text;
    for (const OptionGroup& group : OptionGroupsOf(options)) {
        text += Title(group.title);
        for (const Option* const option : group.options) {
            text += Entry(NameOf(*option), option->help);
        }
    }
    return text;
}

}  // namespace

std::vector<OptionGroup> OptionGroupsOf(const std::vector<Option>& options) {
    std::vector<OptionGroup> groups;
    OptionGroup others{"Other options", {}};
    for (const Option& option : options) {
        if (option.isHidden) {
            continue;
        }
        if (option.group.empty() && !option.IsWord()) {
            others.options.push_back(&option);
            continue;
        }
        const std::string& title = option.group.empty() ? "Arguments" : option.group;
        auto group = std::ranges::find(groups, title, &OptionGroup::title);
        if (group == groups.end()) {
            group = groups.insert(groups.end(), {title, {}});
        }
        group->options.push_back(&option);
    }
    if (!others.options.empty()) {
        groups.push_back(std::move(others));
    }
    return groups;
}

std::vector<CommandGroup> CommandGroupsOf(const Program& program) {
    std::vector<CommandGroup> groups;
    for (const Command& command : program.commands) {
        auto group = std::ranges::find(groups, command.group, &CommandGroup::title);
        if (group == groups.end()) {
            group = groups.insert(groups.end(), {command.group, {}});
        }
        group->commands.push_back(&command);
    }
    return groups;
}

std::string NameOf(const Option& option) {
    const std::size_t comma = option.name.find(',');
    const std::string name =
        comma == std::string::npos ? option.name : option.name.substr(0, comma) + ", " + option.LongName();
    return option.IsWord() || option.IsFlag() ? name : name + " " + (option.value.empty() ? "VALUE" : option.value);
}

std::vector<std::string> OptionNamesOf(const std::vector<Option>& options) {
    std::vector<std::string> names;
    for (const Option& option : options) {
        if (!option.isHidden && !option.IsWord()) {
            names.push_back(option.LongName());
        }
    }
    return names;
}

std::string UsageOf(const Program& program) { return program.name + " COMMAND [OPTIONS]"; }

std::string UsageOf(const Program& program, const Command& command) {
    std::string usage = program.name + " " + command.name;
    for (const Option& option : command.options) {
        if (option.isRequired) {
            usage += " " + NameOf(option);
        } else if (option.IsWord()) {
            usage += " [" + NameOf(option) + "]";
        }
    }
    return usage + " [OPTIONS]";
}

std::string Wrapped(std::string_view text, std::size_t indent) {
    std::string lines;
    std::size_t width = Width - indent;
    while (text.size() > width) {
        const std::size_t blank = text.rfind(' ', width);
        const std::size_t end = blank == std::string_view::npos || blank == 0 ? width : blank;
        lines += fmt::format("{}\n{:{}}", text.substr(0, end), "", indent);
        text.remove_prefix(end);
        text.remove_prefix(text.starts_with(' ') ? 1 : 0);
    }
    return lines + std::string(text);
}

std::string HelpOf(const Program& program) {
    std::string help = Head(program.description, UsageOf(program));
    for (const CommandGroup& group : CommandGroupsOf(program)) {
        help += Title(group.title);
        for (const Command* const command : group.commands) {
            help += Entry(command->name, command->description);
        }
    }
    return help + Options(program.options) + "\n" + program.footer + "\n";
}

std::string HelpOf(const Program& program, const Command& command) {
    return Head(command.description, UsageOf(program, command)) + Options(command.options) + "\n" + command.footer +
           "\n";
}

}  // namespace salvor
