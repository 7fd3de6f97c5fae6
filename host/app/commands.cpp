#include "host/app/commands.h"

#include <fmt/format.h>
#include <sys/stat.h>

#include <filesystem>

#include "host/app/say.h"
#include "host/app/selection.h"
#include "host/files/extract_run.h"
#include "host/files/out_folder.h"
#include "host/scan/journal.h"
#include "host/scan/scan_run.h"

namespace salvor {

namespace {

bool HoldsSomething(const std::string& path) {
    struct stat info {};
    return stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode) && info.st_size > 0;
}

// A journal never touches the medium, and an earlier one only when that is wanted.
void RequireNewReport(const ScanCommand& command) {
    if (IsSameFile(command.report, command.scan.image)) {
        throw Failure(ExitStatus::Usage, "--report names the image itself, which is never written to");
    }
    if (std::filesystem::is_block_file(command.report)) {
        throw Failure(ExitStatus::Usage, "--report names a block device; name a file");
    }
    RefuseSameDevice(command.report, command.scan.image);
    if (HoldsSomething(command.report) && !command.overwrite) {
        throw Failure(ExitStatus::Usage,
                      fmt::format("the finds file '{}' exists; name another one, or pass --overwrite to replace it",
                                  command.report));
    }
}

ExitStatus StatusOf(const ScanOutcome& outcome) {
    if (!outcome.complete) {
        return ExitStatus::Stopped;
    }
    return outcome.summary.unreadable.empty() ? ExitStatus::Done : ExitStatus::Losses;
}

JobIdentity JobOf(const JournalHeader& header) { return {header.imagePath, header.imageSize, header.sectorSize}; }

}  // namespace

ExitStatus RunScan(const ScanCommand& command) {
    PreparedScan scan = PrepareScan(command.scan, SelectTypes(command.filter));
    RequireNewReport(command);
    JournalWriter journal(command.report, scan.header);
    const ScanOutcome outcome = RunScanWithJournal(scan, journal, command.quiet);
    if (!command.quiet) {
        Tell(ScanTable(outcome.summary));
    }
    return StatusOf(outcome);
}

ExitStatus RunExtract(const ExtractCommand& command) {
    const PlanFilter filter = MakeFilter(command.filter);
    const Journal journal = ReadJournal(command.finds);
    const std::string& image = command.image.empty() ? journal.header.imagePath : command.image;
    Medium medium(OpenDevice(image), journal.header.sectorSize);
    if (medium.SizeInBytes() != journal.header.imageSize) {
        throw Failure(ExitStatus::NotStarted,
                      fmt::format("the image '{}' has {} bytes, but the finds were made on one of {} bytes; name the "
                                  "right one with --image",
                                  image, medium.SizeInBytes(), journal.header.imageSize));
    }
    if (journal.damagedLines > 0) {
        Say("{} lines of the finds file '{}' are damaged and passed over", journal.damagedLines, command.finds);
    }
    if (!journal.complete) {
        Say("the scan behind '{}' did not end; its {} finds are used", command.finds, journal.finds.size());
    }
    PrepareOutFolder(command.out, JobOf(journal.header), {image, command.finds},
                     command.overwrite ? FolderUse::Overwrite : FolderUse::GoOn);
    const FindsOrigin origin{image, command.finds, journal.complete, journal.header.caps};
    return ExtractFiles(medium, journal.finds, origin, filter, command.out, command.quiet);
}

ExitStatus RunRecover(const RecoverCommand& command) {
    const PlanFilter filter = MakeFilter(command.filter);
    PreparedScan scan = PrepareScan(command.scan, filter.types);
    PrepareOutFolder(command.out, JobOf(scan.header), {command.scan.image, ""},
                     command.overwrite ? FolderUse::Overwrite : FolderUse::New);
    const std::string finds = (std::filesystem::path(command.out) / "finds.jsonl").string();
    JournalWriter journal(finds, scan.header);
    const ScanOutcome outcome = RunScanWithJournal(scan, journal, command.quiet);
    if (!command.quiet) {
        Tell(ScanTable(outcome.summary));
    }
    if (!outcome.complete) {
        Say("stopped before a file was written; 'salvor extract {} --out {}' writes what was found so far",
            ShellWord(finds), ShellWord(command.out));
    }
    const FindsOrigin origin{scan.header.imagePath, finds, outcome.complete, scan.header.caps};
    return ExtractFiles(*scan.medium, outcome.finds, origin, filter, command.out, command.quiet);
}

}  // namespace salvor
