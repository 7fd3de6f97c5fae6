#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <exception>
#include <new>
#include <sstream>

#include "host/app/commands.h"
#include "host/app/say.h"
#include "host/platform/stop_request.h"

namespace salvor {

namespace {

void AddScanOptions(CLI::App& command, ScanOptions& options) {
    command.add_option("IMAGE", options.image, "Raw image file or block device; opened read-only")->required();
    command.add_option("--sector-size", options.sectorSize, "Bytes in a sector, 512 to 4096")->capture_default_str();
    command.add_option("--block-size", options.blockSize, "Bytes read at once")->capture_default_str();
    command.add_option("--start", options.start, "First sector to scan, counted from 0")->capture_default_str();
    command.add_option("--length", options.length, "Sectors to scan; to the end if not given");
    command
        .add_option("--cap", options.caps,
                    "Largest size to report, for all types or as EXT=SIZE, in place of the types' own ('salvor "
                    "types'); those of engines stay")
        ->delimiter(',')
        ->allow_extra_args(false);
}

void AddSkipBad(CLI::App& command, bool& skipBad) {
    command.add_flag("--skip-bad", skipBad, "Where sectors cannot be read, find the edges and leave the inside alone");
}

void AddTypeOptions(CLI::App& command, FilterOptions& options) {
    command.add_option("--types", options.types, "Only these types: extensions or indices, as in jpg,png,41")
        ->delimiter(',')
        ->allow_extra_args(false);
    command.add_option("--exclude", options.exclude, "Not these types")->delimiter(',')->allow_extra_args(false);
}

void AddSizeOptions(CLI::App& command, FilterOptions& options) {
    command.add_option("--min-size", options.minSize, "No smaller files, for all types or as EXT=SIZE: 10K,png=1M")
        ->delimiter(',')
        ->allow_extra_args(false);
    command.add_option("--max-size", options.maxSize, "No larger files, in the same way")
        ->delimiter(',')
        ->allow_extra_args(false);
}

void AddVerdictOptions(CLI::App& command, FilterOptions& options) {
    command.add_option("--only", options.only, "Only these verdicts: whole, open, truncated, damaged")
        ->delimiter(',')
        ->allow_extra_args(false);
    command.add_flag("--no-text", options.noText, "No plain text; pages, mail and other texts with a structure stay");
    command.add_flag("--embedded", options.withEmbedded, "Also files that begin inside whole files");
    command.add_flag("--all", options.all,
                     "However often the same bytes are claimed; files together larger than twice the medium");
    command.add_flag("--as-reported", options.asReported, "What the scanners report, without a look at the files");
}

void AddOutOptions(CLI::App& command, const std::string& which, std::string& out, bool& overwrite) {
    command.add_option("--out", out, "Folder for the files; " + which)->required();
    command.add_flag("--overwrite", overwrite, "Write into a folder that holds other things");
}

void AddQuiet(CLI::App& command, bool& quiet) {
    command.add_flag("--quiet", quiet, "No progress and no summary; errors only");
}

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

    ScanCommand scan;
    CLI::App* const scanApp = app.add_subcommand("scan", "Look for files and write the finds, no recovered byte");
    AddScanOptions(*scanApp, scan.scan);
    AddSkipBad(*scanApp, scan.scan.skipBad);
    AddTypeOptions(*scanApp, scan.filter);
    scanApp->add_option("--report", scan.report, "File for the finds; - for standard output")->required();
    scanApp->add_flag("--overwrite", scan.overwrite, "Replace a finds file that exists");
    AddQuiet(*scanApp, scan.quiet);
    scanApp->footer("Example: salvor scan /dev/sdb --types jpg,png --report card.finds");

    ValidateCommand validate;
    CLI::App* const validateApp = app.add_subcommand(
        "validate", "Find out what the files of a scan are, where they end and whether they are whole");
    validateApp->add_option("FINDS", validate.finds, "Finds file of a scan, also of one that was cut short")
        ->required();
    validateApp->add_option("--image", validate.image, "The image, if it is not where the scan found it");
    validateApp->add_option("--out", validate.out, "File for the outcomes; beside the finds if not given");
    AddSkipBad(*validateApp, validate.skipBad);
    AddQuiet(*validateApp, validate.quiet);
    validateApp->footer(
        "A run that was stopped goes on where it was. 'salvor extract' does the same by itself.\n"
        "Example: salvor validate card.finds");

    ExtractCommand extract;
    CLI::App* const extractApp = app.add_subcommand("extract", "Write the files that a scan has found");
    extractApp->add_option("FINDS", extract.finds, "Finds file of a scan, also of one that was cut short")->required();
    extractApp->add_option("--image", extract.image, "The image, if it is not where the scan found it");
    AddTypeOptions(*extractApp, extract.filter);
    AddSizeOptions(*extractApp, extract.filter);
    AddVerdictOptions(*extractApp, extract.filter);
    AddOutOptions(*extractApp, "new, empty, or of an earlier run on the image", extract.out, extract.overwrite);
    AddSkipBad(*extractApp, extract.skipBad);
    AddQuiet(*extractApp, extract.quiet);
    extractApp->footer(
        "A second run into the same folder completes what is missing.\n"
        "Example: salvor extract card.finds --out photos --min-size jpg=100K");

    RecoverCommand recover;
    CLI::App* const recoverApp = app.add_subcommand("recover", "Scan and write the files, in one go");
    AddScanOptions(*recoverApp, recover.scan);
    AddSkipBad(*recoverApp, recover.scan.skipBad);
    AddTypeOptions(*recoverApp, recover.filter);
    AddSizeOptions(*recoverApp, recover.filter);
    AddVerdictOptions(*recoverApp, recover.filter);
    AddOutOptions(*recoverApp, "new or empty", recover.out, recover.overwrite);
    AddQuiet(*recoverApp, recover.quiet);
    recoverApp->footer("Example: salvor recover card.img --out recovered --types jpg,png");

    InspectCommand inspect;
    CLI::App* const inspectApp =
        app.add_subcommand("inspect", "Say what file begins at a sector, and whether it is whole");
    inspectApp->add_option("IMAGE", inspect.image, "Raw image file or block device, or a single file")->required();
    inspectApp->add_option("--sector", inspect.sector, "Where it begins, counted from 0")->capture_default_str();
    inspectApp->add_option("--sector-size", inspect.sectorSize, "Bytes in a sector, 512 to 4096")
        ->capture_default_str();
    inspectApp->footer("Example: salvor inspect card.img --sector 2048");

    std::vector<std::string> typeWords;
    CLI::App* const typesApp =
        app.add_subcommand("types", "List the types of files that can be found, or explain some");
    typesApp->add_option("TYPE", typeWords, "Types to explain: extensions or indices");
    typesApp->footer("Example: salvor types jpg pdf");

    ListenForStop();
    const auto isNamed = [&](const CLI::App* command) {
        return command->get_name() == argv[1];
    };
    if (argc > 1 && argv[1][0] != '-' && app.get_subcommands(isNamed).empty()) {
        Say("'{}' is no command; the commands are scan, validate, extract, recover, inspect and types", argv[1]);
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
        if (scanApp->parsed()) {
            return StatusOf(RunScan(scan));
        }
        if (validateApp->parsed()) {
            return StatusOf(RunValidate(validate));
        }
        if (extractApp->parsed()) {
            return StatusOf(RunExtract(extract));
        }
        if (inspectApp->parsed()) {
            return StatusOf(RunInspect(inspect));
        }
        return StatusOf(recoverApp->parsed() ? RunRecover(recover) : RunTypes(typeWords));
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
