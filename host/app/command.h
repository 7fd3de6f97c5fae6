#pragma once

#include <functional>

#include "host/say/failure.h"

namespace CLI {
class App;
}

namespace salvor {

/// A command as it stands on the program's command line.
struct Command {
    CLI::App* line;
    /// Does what the parsed line asks for; throws `Failure` for what ends it at once.
    std::function<ExitStatus()> run;
};

// Each adds its command with all options and help to the program's line.
Command AddScanCommand(CLI::App& program);
Command AddMergeCommand(CLI::App& program);
Command AddValidateCommand(CLI::App& program);
Command AddExtractCommand(CLI::App& program);
Command AddRecoverCommand(CLI::App& program);
Command AddListCommand(CLI::App& program);
Command AddReportCommand(CLI::App& program);
Command AddMountCommand(CLI::App& program);
Command AddInspectCommand(CLI::App& program);
Command AddInfoCommand(CLI::App& program);
Command AddExportMapCommand(CLI::App& program);
Command AddTypesCommand(CLI::App& program);
Command AddManCommand(CLI::App& program);
Command AddCompletionCommand(CLI::App& program);

/// Parses the command line and runs what it names; the program's exit status. Failures are one line on stderr.
int RunCommandLine(int argc, const char* const* argv);

}  // namespace salvor
