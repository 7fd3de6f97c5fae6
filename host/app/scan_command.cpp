#include <fmt/format.h>

#include <memory>

#include "host/app/command.h"
#include "host/app/finds_use.h"
#include "host/app/options.h"
#include "host/platform/process.h"
#include "host/platform/same_disk.h"
#include "host/say/say.h"
#include "host/scan/journal.h"

namespace salvor {

namespace {

struct ScanCommand {
    ScanOptions scan;
    FilterOptions filter;
    std::string report;
    bool overwrite = false;
    bool quiet = false;
};

// Where the finds of a scan go.
FilePlace NewReport(const ScanCommand& command, const Medium& medium) {
    if (command.report.empty()) {
        throw Failure(ExitStatus::Usage, "scan needs --report: name a file for the finds, or - for standard output");
    }
    if (command.report == "-") {
        return FilePlace::StandardOutput();
    }
    RequireOwnFile("--report", command.report, medium.Files());
    if (HoldsBytes(command.report) && !command.overwrite) {
        throw Failure(ExitStatus::Usage,
                      fmt::format("the finds file '{}' exists; name another one, or pass --overwrite to replace it",
                                  command.report));
    }
    return {command.report};
}

ExitStatus StatusOf(const ScanOutcome& outcome) {
    if (!outcome.complete) {
        return ExitStatus::Stopped;
    }
    return outcome.summary.unreadable.empty() ? ExitStatus::Done : ExitStatus::Losses;
}

ExitStatus RunScan(const ScanCommand& command) {
    PreparedScan scan = PrepareScan(command.scan, SelectTypes(command.filter));
    const FilePlace report = NewReport(command, *scan.medium);
    JournalWriter journal(report, scan.header);
    GiveUpRootRights();
    const ScanOutcome outcome = RunScanWithJournal(scan, journal, command.quiet);
    if (!command.quiet && command.report != "-") {
        Tell(ScanTable(outcome.summary));
    }
    return StatusOf(outcome);
}

}  // namespace

Command AddScanCommand(CLI::App& program) {
    const auto command = std::make_shared<ScanCommand>();
    CLI::App* const line = program.add_subcommand("scan", "Look for files and write the finds, no recovered byte");
    AddScanOptions(*line, command->scan);
    AddSkipBad(*line, command->scan.skipBad);
    AddTypeOptions(*line, command->filter);
    // What is wrong with the image is said first.
    line->add_option("--report", command->report, "File for the finds, always needed; - for standard output");
    line->add_flag("--overwrite", command->overwrite, "Replace a finds file that exists");
    AddQuiet(*line, command->quiet);
    line->footer("Example: salvor scan /dev/sdb --types jpg,png --report card.finds");
    return {line, [command] {
                return RunScan(*command);
            }};
}

}  // namespace salvor
