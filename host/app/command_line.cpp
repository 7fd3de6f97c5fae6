#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <exception>
#include <new>
#include <sstream>
#include <string>
#include <vector>

#include "host/app/command.h"
#include "host/platform/stop_request.h"
#include "host/say/say.h"

namespace salvor {

namespace {

// What a command's end means for the program: what was told must have reached the person.
int StatusOf(ExitStatus status) {
    return static_cast<int>(status == ExitStatus::Done && OutputFailed() ? ExitStatus::Losses : status);
}

}  // namespace

int RunCommandLine(int argc, const char* const* argv) {
    CLI::App app("Brings files back from disks and images whose file system is gone.", "salvor");
    app.set_version_flag("--version", "salvor " SALVOR_VERSION);
    app.require_subcommand(1);
    app.footer(
        "Example: salvor recover card.img --out recovered\n"
        "Exit status: 0 done, 1 done with losses, 2 wrong usage, 3 could not start, 130 stopped.");

    app.failure_message([](const CLI::App* /*app*/, const CLI::Error& error) {
        return fmt::format("{}; 'salvor --help' and 'salvor COMMAND --help' tell more", error.what());
    });

    std::vector<Command> commands;
    std::string names;
    for (const auto add :
         {AddScanCommand, AddMergeCommand, AddValidateCommand, AddExtractCommand, AddRecoverCommand, AddListCommand,
          AddReportCommand, AddInfoCommand, AddInspectCommand, AddExportMapCommand, AddTypesCommand}) {
        commands.push_back(add(app));
        names += (names.empty() ? "" : ", ") + commands.back().line->get_name();
    }

    ListenForStop();
    const auto isNamed = [&](const CLI::App* command) {
        return command->get_name() == argv[1];
    };
    if (argc > 1 && argv[1][0] != '-' && app.get_subcommands(isNamed).empty()) {
        Say("'{}' is no command; the commands are {}", argv[1], names);
        return static_cast<int>(ExitStatus::Usage);
    }
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        // Help and the version are asked for with status 0; every other outcome is wrong usage.
        std::ostringstream help;
        std::ostringstream errors;
        if (app.exit(error, help, errors) != 0) {
            SayLine(errors.str());
            return static_cast<int>(ExitStatus::Usage);
        }
        Tell(help.str());
        return StatusOf(ExitStatus::Done);
    }
    try {
        const auto named = std::ranges::find_if(commands, [](const Command& one) { return one.line->parsed(); });
        return StatusOf(named->run());
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
