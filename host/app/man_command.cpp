#include <fmt/format.h>

#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "host/app/command.h"
#include "host/app/help.h"
#include "host/platform/folder.h"
#include "host/say/say.h"

namespace salvor {

namespace {

struct ManCommand {
    std::string name;
    /// Empty for standard output.
    std::string folder;
};

// Text for troff, to which a backslash, and a dot or an apostrophe at a line's start, have a meaning.
std::string Roff(std::string_view text) {
    std::string roff;
    bool isLineStart = true;
    for (const char letter : text) {
        if (isLineStart && (letter == '.' || letter == '\'')) {
            roff += "\\&";
        }
        roff += letter == '\\' ? "\\e" : (letter == '-' ? "\\-" : std::string(1, letter));
        isLineStart = letter == '\n';
    }
    return roff;
}

std::string Head(const std::string& page, const std::string& description) {
    std::string upper;
    for (const char letter : page) {
        upper += letter >= 'a' && letter <= 'z' ? static_cast<char>(letter - 'a' + 'A') : letter;
    }
    return fmt::format(".TH {} 1 \"" SALVOR_RELEASED "\" \"salvor " SALVOR_VERSION
                       "\" \"Salvor\"\n.SH NAME\n{} \\- {}\n.SH SYNOPSIS\n",
                       upper, Roff(page), Roff(description));
}

std::string Options(const std::vector<Option>& options) {
    std::string text = ".SH OPTIONS\n";
    for (const OptionGroup& group : OptionGroupsOf(options)) {
        text += ".SS " + Roff(group.title) + '\n';
        for (const Option* const option : group.options) {
            text += fmt::format(".TP\n\\fB{}\\fR\n{}\n", Roff(NameOf(*option)), Roff(option->help));
        }
    }
    return text;
}

std::string Footer(const std::string& footer) { return ".SH NOTES\n.nf\n" + Roff(footer) + "\n.fi\n"; }

std::string CommandPage(const Program& program, const Command& command) {
    return Head(program.name + "-" + command.name, command.description) + Roff(UsageOf(program, command)) + "\n" +
           Options(command.options) + Footer(command.footer) + ".SH SEE ALSO\n.BR " + program.name + " (1)\n";
}

std::string ProgramPage(const Program& program) {
    std::string text = Head(program.name, program.description) + Roff(UsageOf(program)) + "\n";
    std::string others;
    for (const CommandGroup& group : CommandGroupsOf(program)) {
        text += ".SH " + Roff(group.title) + '\n';
        for (const Command* const command : group.commands) {
            text += fmt::format(".TP\n\\fB{}\\fR\n{}\n", Roff(command->name), Roff(command->description));
            others += fmt::format("{}.BR {}\\-{} (1)", others.empty() ? "" : ",\n", program.name, Roff(command->name));
        }
    }
    return text + Options(program.options) + Footer(program.footer) + ".SH SEE ALSO\n" + others + '\n';
}

std::map<std::string, std::string> PagesOf(const Program& program) {
    std::map<std::string, std::string> pages{{"", ProgramPage(program)}};
    for (const CommandGroup& group : CommandGroupsOf(program)) {
        for (const Command* const command : group.commands) {
            pages[command->name] = CommandPage(program, *command);
        }
    }
    return pages;
}

void WritePages(const std::map<std::string, std::string>& pages, const std::string& path) {
    const Folder folder = Folder::Open(path);
    for (const auto& [name, text] : pages) {
        File file = folder.Create(name.empty() ? "salvor.1" : "salvor-" + name + ".1");
        if (!file.IsOpen() || !file.Write(text.data(), text.size()) || !file.Close()) {
            throw Failure(ExitStatus::NotStarted, fmt::format("cannot write to '{}': {}", path, file.Error().Text()));
        }
    }
}

ExitStatus RunMan(const Program& program, const ManCommand& command) {
    const std::map<std::string, std::string> pages = PagesOf(program);
    if (!command.folder.empty()) {
        WritePages(pages, command.folder);
        return ExitStatus::Done;
    }
    const auto page = pages.find(command.name);
    if (page == pages.end()) {
        throw Failure(ExitStatus::Usage,
                      fmt::format("'{}' is not a command; 'salvor --help' lists them", command.name));
    }
    Tell(page->second);
    return ExitStatus::Done;
}

}  // namespace

Command ManCommandLine(const Program& program) {
    const auto command = std::make_shared<ManCommand>();
    Command line{.name = "man", .description = "Print the man page of the program or of a command", .group = "More"};
    line.options.push_back(
        {.name = "COMMAND", .target = &command->name, .help = "Command to describe (default: the program)"});
    line.options.push_back(
        {.name = "--to", .target = &command->folder, .help = "Write all pages into this folder", .value = "DIR"});
    line.footer = "Example: salvor man recover | man -l -";
    line.run = [&program, command] {
        return RunMan(program, *command);
    };
    return line;
}

}  // namespace salvor
