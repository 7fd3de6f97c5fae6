#include "host/volumes/joined_worker.h"

#include <memory>
#include <stdexcept>
#include <utility>

#include "host/medium/extent_source.h"
#include "host/scan/first_find.h"
#include "host/scan/scanners.h"
#include "host/validate/validate_finds.h"

namespace salvor {

namespace {

// Reports the worker's progress and checks for stop requests. Findings are not needed: they are in the outcome.
class StandingObserver : public ValidateObserver {
public:
    StandingObserver(Worker& worker, SectorRange at, std::int32_t file) : worker_(worker), at_(at), file_(file) {}
    bool OnPlace(Validator::Phase /*phase*/, std::int64_t /*byte*/) override {
        worker_.At(at_, file_);
        return worker_.StopRequested();
    }

private:
    Worker& worker_;
    SectorRange at_;
    std::int32_t file_;
};

std::vector<std::int32_t> TypesWithoutValidator() {
    std::vector<std::int32_t> types = AllTypes();
    std::erase_if(types, HasValidator);
    return types;
}

// Verdict `NoFile` if no file begins with the first extent.
std::optional<Finding> FindingOf(Worker& worker, const std::map<std::int32_t, std::int64_t>& caps,
                                 const Json& question) {
    const auto extents = ExtentsFromJson(question, "extents");
    if (!extents || extents->empty()) {
        throw std::invalid_argument("no extents");
    }
    const SectorRange at{extents->front().startSector, 1};
    StandingObserver observer(worker, at, question.at("file").get<std::int32_t>());
    observer.OnPlace({}, 0);
    const auto stopRequested = [&worker] {
        return worker.StopRequested();
    };
    Medium& medium = worker.GetMedium();
    Medium joined(std::make_unique<ExtentSource>(medium, *extents), medium.SectorSize(), {false, stopRequested});
    Sightings seen;
    seen.starts = {0};
    seen.AddTextStart(0);
    for (const Json& claim : question.at("reported")) {
        seen.finds.push_back({claim.at(0).get<std::int32_t>(), 0, claim.at(1).get<std::int64_t>()});
    }
    // A scanner that follows a file to its end met the bytes of others behind the first extent. The ones whose types
    // have no validator keep nothing between scans, so a process may scan with them any number of times.
    if (extents->size() > 1) {
        const auto found = FirstFindAt(joined, {0, TypesWithoutValidator(), caps, joined.SizeInBytes(), stopRequested});
        if (found.find) {
            seen.finds.push_back(*found.find);
        }
    }
    const Validation validation = ValidateFinds(joined, seen, {.caps = caps}, observer);
    if (!validation.complete) {
        return std::nullopt;
    }
    const auto first = validation.outcomes.begin();
    return first != validation.outcomes.end() && first->startSector == 0 ? first->finding : Finding();
}

}  // namespace

bool ValidateJoined(Worker& worker) {
    const auto caps = CapsFromJson(worker.What().at("caps"));
    for (const Json& question : worker.What().at("questions")) {
        const std::optional<Finding> finding = FindingOf(worker, caps, question);
        if (!finding) {
            return false;
        }
        if (const auto unreadable = worker.GetMedium().TakeNewlyUnreadable(); unreadable.SectorCount() > 0) {
            worker.SendSoon(UnreadableLine(unreadable.Ranges()));
        }
        worker.SendSoon(JoinedLine(question.at("file").get<std::int32_t>(), *finding));
    }
    return true;
}

Json JoinedParameters(const std::vector<JoinedQuestion>& questions, const KnownFiles& files,
                      const std::map<std::int32_t, std::int64_t>& caps) {
    Json list = Json::array();
    for (const JoinedQuestion& question : questions) {
        Json reported = Json::array();
        for (const ReportedClaim& claim : question.reported) {
            reported.push_back({claim.type, claim.size});
        }
        list.push_back({{"file", question.file},
                        {"extents", ExtentsToJson(files.At(question.file)->extents)},
                        {"reported", std::move(reported)}});
    }
    return {{"caps", CapsToJson(caps)}, {"questions", std::move(list)}};
}

std::string JoinedLine(std::int32_t file, const Finding& finding) {
    // The file's number stands in place of an outcome's sector.
    return FindingLine({file, Validator::Phase::Structure, "", finding, 0});
}

std::pair<std::int32_t, Finding> JoinedIn(const OutcomesRead& read) {
    if (read.known.Count() == 0) {
        throw std::invalid_argument("no finding");
    }
    const KnownFinding known = read.known[0];
    if (known.finding.verdict != Verdict::NoFile && known.finding.type < 0) {
        throw std::invalid_argument("no type");
    }
    return {static_cast<std::int32_t>(known.startSector), known.finding};
}

}  // namespace salvor
