#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <exception>
#include <filesystem>
#include <new>
#include <sstream>
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

// What a command's end means for the program: what was told must have reached the person.
int StatusOf(ExitStatus status) {
    return static_cast<int>(status == ExitStatus::Done && OutputFailed() ? ExitStatus::Losses : status);
}

constexpr const char* FirstWords =
    "Salvor brings files back from disks, cards and images whose file system is gone.\n"
    "Stop using the disk first, then write what is found to another one:\n"
    "  salvor recover /dev/sdb --out recovered\n"
    "'salvor scan' only looks, 'salvor list' shows what was found, 'salvor types' what can be found.\n"
    "'salvor --help' names all commands, and 'salvor recover --help' the options of one.\n";

// "help recover" asks for what "recover --help" does.
std::vector<std::string> WordsOf(int argc, const char* const* argv) {
    std::vector<std::string> words(argv + 1, argv + argc);
    if (words.front() == "help") {
        words.erase(words.begin());
        words.emplace_back("--help");
    }
    return words;
}

bool IsNamed(const std::string& word, const std::vector<Command>& commands) {
    return std::ranges::any_of(commands, [&word](const Command& one) { return one.line->get_name() == word; });
}

std::string NoCommandText(const std::string& word, const std::vector<Command>& commands) {
    std::error_code error;
    if (std::filesystem::exists(word, error)) {
        return fmt::format("'{}' is no command; 'salvor recover {} --out DIR' brings back the files in it", word,
                           ShellWord(word));
    }
    std::vector<std::string> names;
    names.reserve(commands.size());
    for (const Command& command : commands) {
        names.push_back(command.line->get_name());
    }
    return fmt::format("'{}' is no command{}; the commands are {}", word, MeantText(word, names),
                       fmt::join(names, ", "));
}

ExitStatus RunNamed(const std::vector<Command>& commands) {
    return std::ranges::find_if(commands, [](const Command& one) { return one.line->parsed(); })->run();
}

}  // namespace

int RunCommandLine(int argc, const char* const* argv) {
    CLI::App app("Brings files back from disks and images whose file system is gone.", "salvor");
    UseOwnHelp(app);
    app.set_version_flag("--version", "salvor " SALVOR_VERSION, "Says which version this is");
    app.require_subcommand(1);
    app.footer(
        "Example: salvor recover card.img --out recovered\n"
        "Exit status: 0 done, 1 done with losses, 2 wrong usage, 3 could not start, 130 stopped.");
    std::vector<Command> commands;
    for (const auto add : {AddRecoverCommand, AddScanCommand, AddMergeCommand, AddValidateCommand, AddExtractCommand,
                           AddListCommand, AddReportCommand, AddMountCommand, AddInfoCommand, AddInspectCommand,
                           AddExportMapCommand, AddTypesCommand, AddManCommand, AddCompletionCommand}) {
        commands.push_back(add(app));
    }

    ListenForStop();
    if (argc < 2) {
        Tell(FirstWords);
        return static_cast<int>(ExitStatus::Usage);
    }
    std::vector<std::string> words = WordsOf(argc, argv);
    if (!words.front().starts_with('-') && !IsNamed(words.front(), commands)) {
        SayLine(NoCommandText(words.front(), commands));
        return static_cast<int>(ExitStatus::Usage);
    }
    try {
        // It takes them from the back.
        std::ranges::reverse(words);
        app.parse(words);
    } catch (const CLI::ParseError& error) {
        // Help and the version are asked for with status 0; every other outcome is wrong usage.
        if (error.get_exit_code() != 0) {
            SayLine(UsageErrorText(app, error));
            return static_cast<int>(ExitStatus::Usage);
        }
        std::ostringstream help;
        app.exit(error, help, help);
        Tell(help.str());
        return StatusOf(ExitStatus::Done);
    }
    try {
        return StatusOf(RunNamed(commands));
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
