#include <FileTypeCatalog.h>
#include <fmt/format.h>

#include <algorithm>
#include <vector>

#include "host/app/commands.h"
#include "host/app/say.h"
#include "host/scan/scan_run.h"
#include "host/validate/validator.h"

namespace salvor {

ExitStatus RunInspect(const InspectCommand& command) {
    ScanOptions options;
    options.image = command.image;
    options.sectorSize = command.sectorSize;
    options.start = command.sector;
    const PreparedScan scan = PrepareScan(options, {});
    Medium& medium = *scan.medium;

    // All that a single file may cost: a few times the medium.
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
        const Finding finding = validator->validate(place);
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

}  // namespace salvor
