#include "host/plan/planned_files.h"

#include <fmt/format.h>

#include <algorithm>

namespace salvor {

std::vector<std::int32_t> PlannedFile::Types() const {
    std::vector<std::int32_t> types{finding.type};
    for (const ReportedClaim& claim : reported) {
        if (std::ranges::find(types, claim.type) == types.end()) {
            types.push_back(claim.type);
        }
    }
    return types;
}

std::string UsualPath(const Finding& finding, std::int64_t startSector, const std::string& suffix) {
    const char* const folder = finding.beginsInMiddle ? "pieces/" : "";
    return fmt::format("{0}/{1}f{2:010}{3}.{0}", ExtensionOf(finding), folder, startSector, suffix);
}

PlannedFile PlannedFiles::operator[](std::size_t index) const {
    const Packed& packed = files_[index];
    const Rest& rest = *packed.rest;
    return {rest.extents.empty() ? std::vector<Extent>{{packed.startSector, packed.finding.size}} : rest.extents,
            packed.finding,
            packed.reported,
            rest.path.empty() ? UsualPath(packed.finding, packed.startSector) : rest.path,
            packed.known,
            rest.container,
            rest.embedded,
            rest.details,
            packed.cutAtEnd,
            packed.atSizeCap};
}

void PlannedFiles::SortByStart() { std::ranges::stable_sort(files_, {}, &Packed::startSector); }

PlannedFiles::Packed PlannedFiles::Pack(const PlannedFile& file) {
    Packed packed;
    packed.startSector = file.StartSector();
    packed.finding = file.finding;
    packed.reported = file.reported;
    packed.known = file.known;
    packed.cutAtEnd = file.cutAtEnd;
    packed.atSizeCap = file.atSizeCap;
    Rest rest;
    if (file.extents.size() > 1 || file.extents.front().bytes != file.finding.size) {
        rest.extents = file.extents;
    }
    if (file.path != UsualPath(file.finding, packed.startSector)) {
        rest.path = file.path;
    }
    rest.container = file.container;
    rest.embedded = file.embedded;
    rest.details = file.details;
    if (!rest.extents.empty() || !rest.path.empty() || !rest.container.empty() || !rest.embedded.empty() ||
        rest.details != FileDetails()) {
        packed.rest = std::move(rest);
    }
    return packed;
}

}  // namespace salvor
