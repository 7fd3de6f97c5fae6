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

struct Question {
    std::int32_t file = 0;
    std::vector<Extent> extents;
    std::vector<Find> reported;
};

// Reads the numbers that `JoinedParameters` wrote.
class QuestionReader {
public:
    explicit QuestionReader(const Json& numbers) : numbers_(numbers) {}

    std::optional<Question> Next() {
        if (next_ == numbers_.size()) {
            return std::nullopt;
        }
        Question question;
        question.file = static_cast<std::int32_t>(Number());
        for (std::int64_t left = Number(); left > 0; --left) {
            const std::int64_t startSector = Number();
            question.extents.push_back({startSector, Number()});
        }
        for (std::int64_t left = Number(); left > 0; --left) {
            const auto type = static_cast<std::int32_t>(Number());
            question.reported.push_back({type, 0, Number()});
        }
        return question;
    }

private:
    std::int64_t Number() { return IntegerOf(numbers_.at(next_++)); }

    const Json& numbers_;
    std::size_t next_ = 0;
};

// Verdict `NoFile` if no file begins with the first extent.
std::optional<Finding> FindingOf(Worker& worker, const std::map<std::int32_t, std::int64_t>& caps,
                                 const Question& question) {
    const std::vector<Extent>& extents = question.extents;
    if (extents.empty()) {
        throw std::invalid_argument("no extents");
    }
    StandingObserver observer(worker, {extents.front().startSector, 1}, question.file);
    observer.OnPlace({}, 0);
    const auto stopRequested = [&worker] {
        return worker.StopRequested();
    };
    Medium& medium = worker.GetMedium();
    Medium joined(std::make_unique<ExtentSource>(medium, extents), medium.SectorSize(), {false, stopRequested});
    Sightings seen;
    seen.starts = {0};
    seen.AddTextStart(0);
    seen.finds = question.reported;
    // A scanner that follows a file to its end met the bytes of others behind the first extent. The ones whose types
    // have no validator keep nothing between scans, so a process may scan with them any number of times.
    if (extents.size() > 1) {
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
    QuestionReader questions(worker.What().at("questions"));
    while (const std::optional<Question> question = questions.Next()) {
        const std::optional<Finding> finding = FindingOf(worker, caps, *question);
        if (!finding) {
            return false;
        }
        if (const auto unreadable = worker.GetMedium().TakeNewlyUnreadable(); unreadable.SectorCount() > 0) {
            worker.SendSoon(UnreadableLine(unreadable.Ranges()));
        }
        worker.SendSoon(JoinedLine(question->file, *finding));
    }
    return true;
}

Json JoinedParameters(const std::vector<JoinedQuestion>& questions, const KnownFiles& files,
                      const std::map<std::int32_t, std::int64_t>& caps) {
    // There may be hundreds of thousands of questions, so that they are not objects.
    Json numbers = Json::array();
    for (const JoinedQuestion& question : questions) {
        const std::vector<Extent>& extents = files.At(question.file)->extents;
        numbers.push_back(question.file);
        numbers.push_back(extents.size());
        for (const Extent& extent : extents) {
            numbers.push_back(extent.startSector);
            numbers.push_back(extent.bytes);
        }
        numbers.push_back(question.reported.size());
        for (const ReportedClaim& claim : question.reported) {
            numbers.push_back(claim.type);
            numbers.push_back(claim.size);
        }
    }
    return {{"caps", CapsToJson(caps)}, {"questions", std::move(numbers)}};
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
