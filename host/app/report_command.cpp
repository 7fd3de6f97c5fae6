#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "host/app/command.h"
#include "host/app/finds_use.h"
#include "host/app/options.h"
#include "host/platform/process.h"
#include "host/report/page.h"
#include "host/report/report.h"
#include "host/report/report_format.h"
#include "host/say/say.h"

namespace salvor {

namespace {

constexpr const char* PageFormat = "html";

struct ReportCommand {
    std::string folder;
    std::vector<std::string> formats = {PageFormat};
    /// Empty for the format's own name in the folder; "-" for standard output.
    std::string out;
    bool quiet = false;
};

// A folder and a name in it, for the path that the user gave.
struct OutPlace {
    Folder folder;
    std::string name;
};

OutPlace PlaceFor(const ReportCommand& command, const ReportFormat& format, const ReportSummary& summary) {
    const bool isInFolder = command.out.empty();
    const std::filesystem::path path = std::filesystem::absolute(
        isInFolder ? std::filesystem::path(command.folder) / format.fileName : std::filesystem::path(command.out));
    RequireOwnFile(isInFolder ? "the folder's report" : "--out", path.string(), {summary.image});
    return {OpenReportFolder(path.parent_path().string()), path.filename().string()};
}

// False if lines of the folder's report are damaged.
bool WriteReport(const ReportCommand& command, const Folder& folder, const ReportFormat& format) {
    ReportReader reader(folder);
    if (command.out == "-") {
        format.write(reader, Tell);
    } else {
        const OutPlace place = PlaceFor(command, format, reader.Summary());
        LineFile file(place.folder, place.name);
        format.write(reader, [&file](const std::string& text) { file.Add(text); });
        file.TakeName();
        if (!command.quiet) {
            Tell(fmt::format("{}\n", Printable((place.folder.Path() / place.name).string())));
        }
    }
    return SayIfDamaged(reader, folder);
}

// The page must be beside the files that it shows. False if lines of the folder's report are damaged.
bool WritePageOf(const ReportCommand& command, const Folder& folder) {
    if (!command.out.empty()) {
        throw Failure(ExitStatus::Usage, "--out: the page works in the folder of its files only");
    }
    const bool isWhole = WritePage(folder);
    if (!command.quiet) {
        Tell(fmt::format("{}\n", Printable((folder.Path() / PageName).string())));
    }
    return isWhole;
}

ExitStatus RunReport(const ReportCommand& command) {
    if (command.formats.size() > 1 && !command.out.empty()) {
        throw Failure(ExitStatus::Usage, "--out takes one format; without it each gets a file in the folder");
    }
    const Folder folder = OpenReportFolder(command.folder);
    GiveUpRootRights(folder, /*isNew=*/false);
    bool isWhole = true;
    for (const std::string& word : command.formats) {
        isWhole &= word == PageFormat
                       ? WritePageOf(command, folder)
                       : WriteReport(command, folder, *std::ranges::find(ReportFormats(), word, &ReportFormat::name));
    }
    return isWhole ? ExitStatus::Done : ExitStatus::Losses;
}

}  // namespace

Command ReportCommandLine() {
    const auto command = std::make_shared<ReportCommand>();
    Command line{.name = "report",
                 .description = "Write a report of recovered files for other tools",
                 .group = "Looking and choosing"};
    line.options.push_back(
        {.name = "DIR", .target = &command->folder, .help = "Folder of recovered files", .isRequired = true});
    Option formats{.name = "--format",
                   .target = &command->formats,
                   .help = "html (the page; the default)",
                   .value = "FORMATS",
                   .values = {PageFormat}};
    for (const ReportFormat& format : ReportFormats()) {
        formats.help += fmt::format(", {} ({})", format.name, format.help);
        formats.values.emplace_back(format.name);
    }
    line.options.push_back(formats);
    line.options.push_back({.name = "--out",
                            .target = &command->out,
                            .help = "File for the report, - for standard output (default: in the folder)",
                            .value = "FILE"});
    AddQuiet(line, command->quiet);
    line.footer = "Example: salvor report recovered --format csv,dfxml";
    line.run = [command] {
        return RunReport(*command);
    };
    return line;
}

}  // namespace salvor
