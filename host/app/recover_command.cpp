#include <memory>

#include "host/app/command.h"
#include "host/app/finds_use.h"
#include "host/app/options.h"
#include "host/say/say.h"
#include "host/scan/journal.h"

namespace salvor {

namespace {

struct RecoverCommand {
    ScanOptions scan;
    FilterOptions filter;
    std::string out;
    bool overwrite = false;
    bool quiet = false;
};

ExitStatus RunRecover(const RecoverCommand& command) {
    const PlanFilter filter = MakeFilter(command.filter);
    PreparedScan scan = PrepareScan(command.scan, filter.types);
    const OutFolder out = PrepareOutFolder(command.out, JobOf(scan.header), {scan.medium->Files(), ""},
                                           command.overwrite ? FolderUse::Overwrite : FolderUse::New);
    const FilePlace finds(out.folder, "finds.jsonl");
    JournalWriter journal(finds, scan.header);
    const ScanOutcome outcome = RunScanWithJournal(scan, journal, command.quiet);
    if (!command.quiet) {
        Tell(ScanTable(outcome.summary));
    }
    const FindsOrigin origin{scan.header.image, finds.Text(), outcome.complete, scan.header.caps};
    return ExtractSeen(*scan.medium, outcome.seen, origin, filter, out, command.quiet);
}

}  // namespace

Command AddRecoverCommand(CLI::App& program) {
    const auto command = std::make_shared<RecoverCommand>();
    CLI::App* const line = program.add_subcommand("recover", "Scan and write the files, in one go");
    AddScanOptions(*line, command->scan);
    AddSkipBad(*line, command->scan.skipBad);
    AddTypeOptions(*line, command->filter);
    AddSizeOptions(*line, command->filter);
    AddVerdictOptions(*line, command->filter);
    AddOutOptions(*line, "new or empty", command->out, command->overwrite);
    AddQuiet(*line, command->quiet);
    line->footer("Example: salvor recover card.img --out recovered --types jpg,png");
    return {line, [command] {
                return RunRecover(*command);
            }};
}

}  // namespace salvor
