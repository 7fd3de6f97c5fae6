#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <memory>
#include <string>
#include <string_view>

#include "host/app/command.h"
#include "host/report/page.h"
#include "host/report/report_reader.h"
#include "host/say/say.h"

namespace salvor {

namespace {

struct ReportFormat {
    std::string_view name;
    /// The file in the folder.
    std::string_view file;
    void (*write)(const Folder& folder);
};

constexpr std::array ReportFormats{
    ReportFormat{"html", PageName, WritePage},
};

struct ReportCommand {
    std::string folder;
    std::string format{ReportFormats.front().name};
    bool quiet = false;
};

ExitStatus RunReport(const ReportCommand& command) {
    const auto* const format = std::ranges::find(ReportFormats, std::string_view(command.format), &ReportFormat::name);
    if (format == ReportFormats.end()) {
        throw Failure(ExitStatus::Usage, "'" + command.format + "' is no format of a report; 'salvor report --help'");
    }
    const Folder folder = OpenReportFolder(command.folder);
    format->write(folder);
    if (!command.quiet) {
        Tell((folder.Path() / format->file).string() + '\n');
    }
    return ExitStatus::Done;
}

}  // namespace

Command AddReportCommand(CLI::App& program) {
    const auto command = std::make_shared<ReportCommand>();
    CLI::App* const line = program.add_subcommand("report", "Write the report of a folder again, as a page or other");
    line->add_option("DIR", command->folder, "Folder with recovered files")->required();
    line->add_option("--format", command->format, "html: the page index.html")->capture_default_str();
    line->add_flag("--quiet", command->quiet, "Errors only");
    line->footer("Example: salvor report recovered");
    return {line, [command] {
                return RunReport(*command);
            }};
}

}  // namespace salvor
