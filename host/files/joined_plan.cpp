#include "host/files/joined_plan.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace salvor {

namespace {

// Gives the files of a plan their places on the image.
void PutOnImage(Plan& plan, const ScanMedium& medium) {
    for (std::size_t i = 0; i < plan.files.size(); ++i) {
        PlannedFile file = plan.files[i];
        std::vector<Extent> extents;
        for (const Extent& joined : file.extents) {
            if (joined.IsHole()) {
                extents.push_back(joined);
                continue;
            }
            std::ranges::copy(medium.Joins()->ExtentsOnMedium(joined.startSector, joined.bytes),
                              std::back_inserter(extents));
        }
        if (extents.empty()) {
            extents.push_back({medium.OnImage(file.StartSector()), 0});
        }
        file.extents = std::move(extents);
        for (EmbeddedFile& one : file.embedded) {
            one.startSector = medium.OnImage(one.startSector);
        }
        plan.files.Replace(i, file);
    }
    // Slack is scanned after everything else.
    plan.files.SortByStart();
    for (PassedOver& passed : plan.passedOver) {
        passed.outcome.startSector = medium.OnImage(passed.outcome.startSector);
    }
}

}  // namespace

MediumShape ShapeOf(const ScanMedium& medium) {
    return {medium.Scanned().SizeInBytes(), medium.Scanned().SectorSize(), [&medium](std::int64_t sector) {
                return medium.OnImage(sector);
            }};
}

void EndAtGaps(Outcomes& outcomes, const ScanMedium& medium) {
    if (!medium.Joins()) {
        return;
    }
    for (Outcome& outcome : outcomes) {
        Finding& finding = outcome.finding;
        const std::int64_t room = medium.Joins()->RoomFrom(outcome.startSector);
        if (finding.verdict != Verdict::NoFile && finding.size > room) {
            finding.size = room;
            finding.verdict = std::max(finding.verdict, Verdict::Truncated);
            finding.isUnbroken = false;
            finding.why = finding.why.Text() + "; it ends where what is scanned of its volume does";
        }
    }
}

Plan PlanOnImage(Outcomes outcomes, const ScanMedium& medium, const PlanFilter& filter,
                 const std::map<std::int32_t, std::int64_t>& caps, const PassOver& passOver) {
    const PassOver passOnImage = [&](PassedOver passed) {
        passed.outcome.startSector = medium.OnImage(passed.outcome.startSector);
        passOver(passed);
    };
    Plan plan =
        passOver ? MakePlan(std::move(outcomes), ShapeOf(medium), filter, caps, medium.Joins() ? passOnImage : passOver)
                 : MakePlan(std::move(outcomes), ShapeOf(medium), filter, caps);
    if (medium.Joins()) {
        PutOnImage(plan, medium);
    }
    return plan;
}

}  // namespace salvor
