#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <exception>
#include <filesystem>
#include <map>
#include <new>
#include <string>
#include <system_error>
#include <vector>

#include "host/app/command.h"
#include "host/app/help.h"
#include "host/platform/stop_request.h"
#include "host/say/nearest_word.h"
#include "host/say/say.h"

namespace salvor {

namespace {

// A command has not succeeded if its output could not be written.
int StatusOf(ExitStatus status) {
    return static_cast<int>(status == ExitStatus::Done && OutputFailed() ? ExitStatus::Losses : status);
}

constexpr const char* FirstWords =
    "Salvor brings files back from disks, cards and images whose file system is gone.\n"
    "Stop using the disk first, then write what is found to another one:\n"
    "  salvor recover /dev/sdb --out recovered\n"
    "'salvor scan' only looks, 'salvor list' shows what was found, 'salvor types' what can be found.\n"
    "'salvor --help' names all commands, and 'salvor recover --help' the options of one.\n";

Option HelpOption() { return {.name = "-h,--help", .target = static_cast<bool*>(nullptr), .help = "Show this help"}; }

Option VersionOption() {
    return {.name = "--version", .target = static_cast<bool*>(nullptr), .help = "Show the version"};
}

Program TheProgram() {
    return {.name = "salvor",
            .description = "Brings files back from disks and images whose file system is gone.",
            .footer =
                "Example: salvor recover card.img --out recovered\n"
                "Exit status: 0 done, 1 done with losses, 2 wrong usage, 3 could not start, 130 stopped.",
            .options = {HelpOption(), VersionOption()}};
}

void AddCommands(Program& program) {
    program.commands = {RecoverCommandLine(),    ScanCommandLine(),
                        MergeCommandLine(),      ValidateCommandLine(),
                        ExtractCommandLine(),    ListCommandLine(),
                        ReportCommandLine(),     MountCommandLine(),
                        InfoCommandLine(),       InspectCommandLine(),
                        ExportMapCommandLine(),  TypesCommandLine(),
                        ManCommandLine(program), CompletionCommandLine(program)};
    for (Command& command : program.commands) {
        command.options.insert(command.options.begin(), HelpOption());
    }
}

// The program's commands, described to the parsing library.
class Parser {
public:
    explicit Parser(const Program& program);

    /// Sets the options' targets. Returns the command that the words name, or nothing if they asked for help or the
    /// version, which have been printed. Throws `Failure` (usage) for words that cannot be understood.
    const Command* Parse(std::vector<std::string> words);

private:
    struct Line {
        CLI::App* app;
        // In the order of the command's options; null for those without a target.
        std::vector<CLI::Option*> options;
    };

    Line LineOf(const Command& command);
    static CLI::Option* Add(CLI::App& app, const Option& option);
    const Command* Named() const;
    std::string ErrorText(const CLI::ParseError& error) const;
    std::string RequiredText(const Command& command) const;

    const Program& program_;
    CLI::App app_;
    // In the order of the program's commands.
    std::vector<Line> lines_;
};

Parser::Parser(const Program& program) : program_(program), app_(program.description, program.name) {
    app_.set_help_flag(HelpOption().name);
    app_.set_version_flag(VersionOption().name, program.name + " " SALVOR_VERSION);
    app_.require_subcommand(1);
    for (const Command& command : program.commands) {
        lines_.push_back(LineOf(command));
    }
}

Parser::Line Parser::LineOf(const Command& command) {
    Line line{app_.add_subcommand(command.name), {}};
    std::map<std::string, CLI::Option*> byName;
    for (const Option& option : command.options) {
        line.options.push_back(Add(*line.app, option));
        byName[option.LongName()] = line.options.back();
    }
    for (const Option& option : command.options) {
        for (const std::string& other : option.excludes) {
            byName.at(option.LongName())->excludes(byName.at(other));
        }
    }
    return line;
}

CLI::Option* Parser::Add(CLI::App& app, const Option& option) {
    CLI::Option* added = nullptr;
    if (const auto* const flag = std::get_if<bool*>(&option.target)) {
        if (*flag == nullptr) {
            return nullptr;
        }
        added = app.add_flag(option.name, **flag);
    } else if (const auto* const text = std::get_if<std::string*>(&option.target)) {
        added = app.add_option(option.name, **text);
    } else if (const auto* const list = std::get_if<std::vector<std::string>*>(&option.target)) {
        added = app.add_option(option.name, **list);
        if (!option.IsWord()) {
            added->delimiter(',')->allow_extra_args(false);
        }
    } else {
        added = app.add_option_function<std::string>(option.name, [&option](const std::string& word) {
            try {
                std::get<std::function<void(const std::string&)>>(option.target)(word);
            } catch (const Failure& failure) {
                throw CLI::ValidationError(option.LongName(), failure.what());
            }
        });
    }
    if (!option.values.empty()) {
        added->check([&option](const std::string& word) {
            return std::ranges::find(option.values, word) != option.values.end()
                       ? std::string()
                       : fmt::format("'{}' is not one of {}{}", word, fmt::join(option.values, ", "),
                                     MeantText(word, option.values));
        });
    }
    if (!option.value.empty()) {
        added->type_name(option.value);
    }
    return added->required(option.isRequired);
}

const Command* Parser::Named() const {
    const auto line = std::ranges::find_if(lines_, [](const Line& one) { return one.app->parsed(); });
    return line == lines_.end() ? nullptr : &program_.commands[static_cast<std::size_t>(line - lines_.begin())];
}

const Command* Parser::Parse(std::vector<std::string> words) {
    try {
        // The library takes the words from the back.
        std::ranges::reverse(words);
        app_.parse(words);
        return Named();
    } catch (const CLI::CallForHelp&) {
        const Command* const command = Named();
        Tell(command == nullptr ? HelpOf(program_) : HelpOf(program_, *command));
    } catch (const CLI::CallForVersion& version) {
        Tell(std::string(version.what()) + '\n');
    } catch (const CLI::ParseError& error) {
        throw Failure(ExitStatus::Usage, ErrorText(error));
    }
    return nullptr;
}

// The message for the first word that no option takes.
std::string UnexpectedText(const std::vector<Option>& options, const std::string& word) {
    const std::vector<std::string> names = OptionNamesOf(options);
    if (!word.starts_with('-')) {
        const bool hasOut = std::ranges::find(names, "--out") != names.end();
        return fmt::format("nothing takes the word '{}'{}", word,
                           hasOut ? "; a place to write to is named with --out" : "");
    }
    const std::string name = word.substr(0, word.find('='));
    if (std::ranges::find(names, name) != names.end()) {
        return fmt::format("'{}' belongs after the command", name);
    }
    return fmt::format("there is no option '{}'{}", name, MeantText(name, names));
}

// The message for a missing option says what it is for.
std::string Parser::RequiredText(const Command& command) const {
    const Line& line = lines_[static_cast<std::size_t>(&command - program_.commands.data())];
    for (std::size_t k = 0; k < command.options.size(); ++k) {
        if (command.options[k].isRequired && line.options[k]->count() == 0) {
            return fmt::format("{} is missing: {}", NameOf(command.options[k]), command.options[k].help);
        }
    }
    return "";
}

// One line: what is wrong, and what was probably meant.
std::string Parser::ErrorText(const CLI::ParseError& error) const {
    const Command* const command = Named();
    const auto kind = static_cast<CLI::ExitCodes>(error.get_exit_code());
    std::string text = error.what();
    const std::vector<std::string> unexpected = app_.remaining(true);
    const std::string required = command == nullptr ? "" : RequiredText(*command);
    const bool isMissing = kind == CLI::ExitCodes::RequiredError;
    // What is missing is often what was misspelt, or given without its option.
    if (!unexpected.empty() && (kind == CLI::ExitCodes::ExtrasError || isMissing)) {
        text = UnexpectedText(command == nullptr ? program_.options : command->options, unexpected.front());
    } else if (isMissing && !required.empty()) {
        text = required;
    }
    return fmt::format("{}; '{} --help' tells more", text,
                       command == nullptr ? program_.name : program_.name + " " + command->name);
}

// "help recover" means "recover --help".
std::vector<std::string> WordsOf(int argc, const char* const* argv) {
    std::vector<std::string> words(argv + 1, argv + argc);
    if (words.front() == "help") {
        words.erase(words.begin());
        words.emplace_back("--help");
    }
    return words;
}

std::string NoCommandText(const std::string& word, const std::vector<std::string>& names) {
    std::error_code error;
    if (std::filesystem::exists(word, error)) {
        return fmt::format("'{}' is not a command; 'salvor recover {} --out DIR' brings back the files in it", word,
                           ShellWord(word));
    }
    return fmt::format("'{}' is not a command{}; the commands are {}", word, MeantText(word, names),
                       fmt::join(names, ", "));
}

void RequireCommand(const Program& program, const std::string& word) {
    std::vector<std::string> names;
    names.reserve(program.commands.size());
    for (const Command& command : program.commands) {
        names.push_back(command.name);
    }
    if (!word.starts_with('-') && std::ranges::find(names, word) == names.end()) {
        throw Failure(ExitStatus::Usage, NoCommandText(word, names));
    }
}

}  // namespace

int RunCommandLine(int argc, const char* const* argv) {
    Program program = TheProgram();
    AddCommands(program);
    ListenForStop();
    if (argc < 2) {
        Tell(FirstWords);
        return static_cast<int>(ExitStatus::Usage);
    }
    try {
        const std::vector<std::string> words = WordsOf(argc, argv);
        RequireCommand(program, words.front());
        const Command* const command = Parser(program).Parse(words);
        return StatusOf(command == nullptr ? ExitStatus::Done : command->run());
    } catch (const Failure& failure) {
        SayLine(failure.what());
        return static_cast<int>(failure.Status());
    } catch (const std::bad_alloc&) {
        SayLine("not enough memory; a smaller --block-size needs less");
        return static_cast<int>(ExitStatus::NotStarted);
    } catch (const std::exception& error) {
        SayLine(error.what());
        return static_cast<int>(ExitStatus::NotStarted);
    }
}

}  // namespace salvor
