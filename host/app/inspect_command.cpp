#include <FileTypeCatalog.h>
#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <vector>

#include "host/app/command.h"
#include "host/app/options.h"
#include "host/app/scan_run.h"
#include "host/platform/sandbox.h"
#include "host/say/say.h"
#include "host/validators/finding_at.h"

namespace salvor {

namespace {

struct InspectCommand {
    ImageSpec image;
    std::string sectorSize = "512";
    /// Counted from 0.
    std::string sector = "0";
};

ExitStatus RunInspect(const InspectCommand& command) {
    ScanOptions options;
    options.image = command.image;
    options.mounted = true;
    options.sectorSize = command.sectorSize;
    options.start = command.sector;
    const PreparedScan scan = PrepareScan(options, {});
    Medium& medium = scan.medium.Image();

    if (!IsSanitized) {
        // The sanitizers look for leaks at the end, which the sandbox does not allow.
        constexpr std::int64_t memory = std::int64_t{1} << 30U;
        EnterSandbox({memory, /*mayWrite=*/true});
    }

    // The most that validating a single file may read: a few times the medium.
    constexpr std::int64_t leastAllowance = std::int64_t{64} << 20;
    constexpr std::int64_t headBytes = 4096;
    const std::int64_t sector = scan.header.range.first;
    std::vector<std::uint8_t> head(headBytes);
    medium.Read(sector, head.data(), headBytes / medium.SectorSize());
    head.resize(static_cast<std::size_t>(std::min(headBytes, medium.SizeInBytes() - sector * medium.SectorSize())));

    bool isAny = false;
    const Neighbours none;
    for (const Validator* const validator : Validators()) {
        if (!validator->begins(head)) {
            continue;
        }
        ReadAllowance allowance(leastAllowance + 8 * medium.SizeInBytes());
        Place place(medium, sector, none, allowance);
        const Finding finding = FindingAt(*validator, place);
        if (medium.IsInterrupted()) {
            return ExitStatus::Stopped;
        }
        const char* extension = finding.extension.empty() && finding.type >= 0 ? FileTypeCatalog[finding.type].extension
                                                                               : finding.extension.Text().c_str();
        Tell(fmt::format("{:<10} {:<5} {:<9} {} bytes: {}\n", validator->name, extension, VerdictName(finding.verdict),
                         finding.size, Printable(finding.why.Text())));
        isAny = true;
    }
    if (!isAny) {
        Tell(fmt::format("no file that a validator knows begins at sector {}\n", sector));
    }
    return isAny ? ExitStatus::Done : ExitStatus::Losses;
}

}  // namespace

Command InspectCommandLine() {
    const auto command = std::make_shared<InspectCommand>();
    Command line{.name = "inspect",
                 .description = "Say which file begins at a sector, and whether it is whole",
                 .group = "Looking and choosing"};
    line.options.push_back({.name = "IMAGE",
                            .target = &command->image.path,
                            .help = "Image file or block device, or a single file",
                            .isRequired = true});
    AddImageOptions(line, command->image);
    line.options.push_back({.name = "--sector",
                            .target = &command->sector,
                            .help = "Sector at which the file begins, counted from 0 (default: 0)",
                            .value = "SECTOR"});
    line.options.push_back({.name = "--sector-size",
                            .target = &command->sectorSize,
                            .help = "Bytes in a sector, 512 to 4096 (default: 512)",
                            .value = "BYTES"});
    line.footer = "Example: salvor inspect card.img --sector 2048";
    line.run = [command] {
        return RunInspect(*command);
    };
    return line;
}

}  // namespace salvor
