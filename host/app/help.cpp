#include "host/app/help.h"

#include <fmt/format.h>

#include <algorithm>
#include <memory>

#include "host/say/nearest_word.h"
#include "host/say/say.h"

namespace salvor {

namespace {

constexpr std::size_t Width = 80;
constexpr std::size_t NameColumn = 24;

bool TakesValue(const CLI::Option& option) { return option.get_items_expected_max() > 0; }

// A name and what it means, in two columns.
std::string Entry(const std::string& name, const std::string& text) {
    std::string entry = fmt::format("  {:<{}}", name, NameColumn - 3);
    entry += name.size() > NameColumn - 3 ? "\n" + std::string(NameColumn, ' ') : " ";
    return entry + Wrapped(text, NameColumn) + '\n';
}

std::string Title(const std::string& title) { return "\n" + Bold(title) + "\n"; }

class HelpFormatter : public CLI::FormatterBase {
public:
    std::string make_help(const CLI::App* app, std::string /*name*/, CLI::AppFormatMode /*mode*/) const override {
        std::string help =
            Wrapped(app->get_description(), 0) + "\n\n" + Bold("Usage:") + " " + Wrapped(UsageOf(*app), 4) + "\n";
        for (const CommandGroup& group : CommandGroupsOf(*app)) {
            help += Title(group.title);
            for (const CLI::App* const command : group.commands) {
                help += Entry(command->get_name(), command->get_description());
            }
        }
        for (const OptionGroup& group : OptionGroupsOf(*app)) {
            help += Title(group.title);
            for (const CLI::Option* const option : group.options) {
                help += Entry(NameOf(*option), option->get_description());
            }
        }
        return app->get_footer().empty() ? help : help + "\n" + app->get_footer() + "\n";
    }
};

const CLI::App& NamedCommand(const CLI::App& program) {
    const std::vector<CLI::App*> parsed = program.get_subcommands();
    return parsed.empty() ? program : *parsed.front();
}

std::vector<std::string> OptionNamesOf(const CLI::App& command) {
    std::vector<std::string> names;
    for (const OptionGroup& group : OptionGroupsOf(command)) {
        for (const CLI::Option* const option : group.options) {
            for (const std::string& name : option->get_lnames()) {
                names.push_back("--" + name);
            }
        }
    }
    return names;
}

// For the first word that no option takes.
std::string UnexpectedText(const CLI::App& command, const std::string& word) {
    if (!word.starts_with('-')) {
        const std::vector<std::string> names = OptionNamesOf(command);
        const bool hasOut = std::ranges::find(names, "--out") != names.end();
        return fmt::format("nothing takes the word '{}'{}", word,
                           hasOut ? "; a place to write to is named with --out" : "");
    }
    const std::string name = word.substr(0, word.find('='));
    return fmt::format("there is no option '{}'{}", name, MeantText(name, OptionNamesOf(command)));
}

// What the option that is missing stands for.
std::string RequiredText(const CLI::App& command) {
    for (const OptionGroup& group : OptionGroupsOf(command)) {
        for (const CLI::Option* const option : group.options) {
            if (option->get_required() && option->count() == 0) {
                return fmt::format("{} is missing: {}", NameOf(*option), option->get_description());
            }
        }
    }
    return "";
}

}  // namespace

std::vector<OptionGroup> OptionGroupsOf(const CLI::App& command) {
    std::vector<OptionGroup> groups;
    OptionGroup others{"Other options", {}};
    for (const CLI::Option* const option : command.get_options()) {
        const std::string& title = option->get_group();
        if (title.empty()) {
            continue;
        }
        if (title == "Options" && !option->get_positional()) {
            others.options.push_back(option);
            continue;
        }
        const std::string shown = title == "Options" ? "What to name" : title;
        auto group = std::ranges::find(groups, shown, &OptionGroup::title);
        if (group == groups.end()) {
            group = groups.insert(groups.end(), {shown, {}});
        }
        group->options.push_back(option);
    }
    if (!others.options.empty()) {
        groups.push_back(std::move(others));
    }
    return groups;
}

std::vector<CommandGroup> CommandGroupsOf(const CLI::App& program) {
    std::vector<CommandGroup> groups;
    for (const CLI::App* const command : program.get_subcommands([](const CLI::App*) { return true; })) {
        const std::string& title = command->get_group();
        if (title.empty()) {
            continue;
        }
        auto group = std::ranges::find(groups, title, &CommandGroup::title);
        if (group == groups.end()) {
            group = groups.insert(groups.end(), {title, {}});
        }
        group->commands.push_back(command);
    }
    return groups;
}

std::string NameOf(const CLI::Option& option) {
    if (option.get_positional()) {
        return option.get_name(true);
    }
    std::string name;
    for (const std::string& letter : option.get_snames()) {
        name += "-" + letter + ", ";
    }
    name += "--" + option.get_lnames().front();
    // What is checked stands behind a colon.
    const std::string value = option.get_type_name().substr(0, option.get_type_name().find(':'));
    return TakesValue(option) ? name + " " + (value == "TEXT" ? "VALUE" : value) : name;
}

std::string UsageOf(const CLI::App& command) {
    const CLI::App* const program = command.get_parent();
    if (program == nullptr) {
        return command.get_name() + " COMMAND [OPTIONS]";
    }
    std::string usage = program->get_name() + " " + command.get_name();
    for (const CLI::Option* const option : command.get_options()) {
        if (option->get_required()) {
            usage += " " + NameOf(*option);
        } else if (option->get_positional()) {
            usage += " [" + NameOf(*option) + "]";
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

void UseOwnHelp(CLI::App& program) {
    program.formatter(std::make_shared<HelpFormatter>());
    program.set_help_flag("-h,--help", "Says this");
}

std::string UsageErrorText(const CLI::App& program, const CLI::ParseError& error) {
    const CLI::App& command = NamedCommand(program);
    const auto kind = static_cast<CLI::ExitCodes>(error.get_exit_code());
    std::string text = error.what();
    if (kind == CLI::ExitCodes::RequiredError && !RequiredText(command).empty()) {
        text = RequiredText(command);
    } else if (const std::vector<std::string> unexpected = program.remaining(true);
               kind == CLI::ExitCodes::ExtrasError && !unexpected.empty()) {
        text = UnexpectedText(command, unexpected.front());
    }
    return fmt::format("{}; '{} --help' tells more", text,
                       &command == &program ? program.get_name() : program.get_name() + " " + command.get_name());
}

}  // namespace salvor
