#include <fmt/format.h>

#include <filesystem>
#include <memory>
#include <string>
#include <system_error>

#include "host/app/command.h"
#include "host/app/options.h"
#include "host/app/shown_files.h"
#include "host/medium/open_image.h"
#include "host/mount/mount.h"
#include "host/platform/stop_request.h"
#include "host/say/say.h"
#include "host/say/size_text.h"

namespace salvor {

namespace {

struct MountCommand {
    ShownOptions shown;
    std::string point;
    bool quiet = false;
};

void RequireEmptyFolder(const std::string& point) {
    std::error_code error;
    if (!std::filesystem::is_directory(point, error)) {
        throw Failure(ExitStatus::Usage, fmt::format("'{}' is not a folder; make one to mount at", point));
    }
    if (!std::filesystem::is_empty(point, error) || error) {
        throw Failure(ExitStatus::Usage, fmt::format("'{}' is not empty; name an empty folder to mount at", point));
    }
}

ExitStatus RunMount(const MountCommand& command) {
    RequireEmptyFolder(command.point);
    std::vector<ReportedFile> files;
    const ShownFiles shown = ForEachShownFile(
        command.shown, [&files](const ReportedFile& file, const Json& /*record*/) { files.push_back(file); });
    const auto medium = OpenMedium(shown.image, shown.summary.sectorSize, {true, StopRequested});
    medium->NoteUnreadable(shown.summary.unreadable);
    Mount mount(*medium);
    std::size_t missing = 0;
    for (const ReportedFile& file : files) {
        missing += mount.Add(file) ? 0U : 1U;
    }
    const std::size_t count = files.size() - missing;
    files = {};
    if (missing > 0) {
        Say("left out {} behind the end of the image", Counted(static_cast<std::int64_t>(missing), "file"));
    }
    mount.Serve(command.point, [&] {
        if (!command.quiet) {
            Tell(fmt::format("{} to read in '{}'; Ctrl-C or 'fusermount3 -u {}' ends that\n",
                             Counted(static_cast<std::int64_t>(count), "file"), Printable(command.point),
                             ShellWord(command.point)));
        }
    });
    return missing == 0 ? ExitStatus::Done : ExitStatus::Losses;
}

}  // namespace

Command MountCommandLine() {
    const auto command = std::make_shared<MountCommand>();
    Command line{.name = "mount",
                 .description = "Show files as a read-only folder, without copying them",
                 .group = "Looking and choosing"};
    AddShownOptions(line, command->shown);
    line.options.push_back({.name = "MOUNTPOINT",
                            .target = &command->point,
                            .help = "Empty folder in which to show the files",
                            .isRequired = true});
    AddQuiet(line, command->quiet);
    line.footer =
        "The folder 'type' sorts the files by type; 'name' has those whose names the file system still knows.\n"
        "Example: salvor mount card.finds /mnt --types photos";
    line.run = [command] {
        return RunMount(*command);
    };
    return line;
}

}  // namespace salvor
