#include "host/validate/validate_worker.h"

#include <chrono>
#include <cstring>

#include "host/platform/process.h"
#include "host/validate/outcomes_file.h"

namespace salvor {

namespace {

using std::chrono::steady_clock;

class SendingObserver : public ValidateObserver {
public:
    SendingObserver(Worker& worker, const ValidateRequest& request) : worker_(worker), request_(request) {}

    bool OnPlace(Validator::Phase phase, std::int64_t byte) override {
        if (!request_.ahead) {
            worker_.Done(static_cast<std::int64_t>(phase) * worker_.GetMedium().SizeInBytes() + byte);
        } else if (phase == request_.phase) {
            worker_.Done(byte - request_.ahead->first * worker_.GetMedium().SectorSize());
        }
        if (steady_clock::now() >= nextSend_) {
            Send();
        }
        return worker_.StopRequested();
    }
    void OnFinding(const KnownFinding& finding) override { Add(FindingLine(finding)); }
    void OnAsk(std::int64_t sector, std::int32_t asked) override { worker_.At({sector, 1}, asked); }

    void Add(const std::string& line) {
        constexpr std::size_t enough = std::size_t{1} << 16U;
        pending_ += line;
        if (pending_.size() > enough) {
            Send();
        }
    }
    void Send() {
        constexpr std::chrono::milliseconds interval(500);
        if (const SectorRangeSet unreadable = worker_.GetMedium().TakeNewlyUnreadable(); unreadable.SectorCount() > 0) {
            pending_ += UnreadableLine(unreadable.Ranges());
        }
        worker_.Send(std::exchange(pending_, {}));
        nextSend_ = steady_clock::now() + interval;
    }

private:
    Worker& worker_;
    const ValidateRequest& request_;
    std::string pending_;
    steady_clock::time_point nextSend_ = steady_clock::now();
};

Json GridsToJson(const std::vector<GridStretch>& grids) {
    Json list = Json::array();
    for (const auto& [sectors, grid] : grids) {
        list.push_back({sectors.first, sectors.count, grid.sectorsPerCluster, grid.phase});
    }
    return list;
}

std::vector<GridStretch> GridsFromJson(const Json& list) {
    std::vector<GridStretch> grids;
    for (const Json& one : list) {
        grids.push_back({{IntegerOf(one.at(0)), IntegerOf(one.at(1))}, {IntegerOf(one.at(2)), IntegerOf(one.at(3))}});
    }
    return grids;
}

// As `ValidateInput` made it, with the lines after it. There may be millions.
void TakeInput(const std::string& input, Sightings& seen, OutcomesRead& known) {
    std::int64_t count = 0;
    std::memcpy(&count, input.data(), sizeof(count));
    std::vector<std::int64_t> numbers(static_cast<std::size_t>(count));
    std::memcpy(numbers.data(), input.data() + sizeof(count), numbers.size() * sizeof(std::int64_t));
    seen = SightingsIn(numbers);
    numbers = {};
    std::size_t from = static_cast<std::size_t>(count + 1) * sizeof(std::int64_t);
    for (std::size_t end = input.find('\n', from); end != std::string::npos; end = input.find('\n', from)) {
        TakeOutcomesLine(input.substr(from, end - from), known);
        from = end + 1;
    }
}

std::optional<SectorRange> AheadIn(const Json& what) {
    const auto ranges = RangesFromJson(what, "ahead");
    return ranges && !ranges->empty() ? std::optional(ranges->front()) : std::nullopt;
}

}  // namespace

std::string ValidateInput(const Sightings& seen) {
    const std::vector<std::int64_t> numbers = NumbersOf(seen);
    const auto count = static_cast<std::int64_t>(numbers.size());
    std::string input((numbers.size() + 1) * sizeof(std::int64_t), '\0');
    std::memcpy(input.data(), &count, sizeof(count));
    std::memcpy(input.data() + sizeof(count), numbers.data(), numbers.size() * sizeof(std::int64_t));
    return input;
}

Json ValidateParameters(const ValidateRequest& request) {
    return {{"caps", CapsToJson(request.caps)},
            {"grids", GridsToJson(request.grids)},
            {"ahead", RangesToJson(request.ahead ? std::vector{*request.ahead} : std::vector<SectorRange>())}};
}

bool ValidateInWorker(Worker& worker) {
    KeepFreedMemory();
    Sightings seen;
    OutcomesRead known;
    TakeInput(worker.Input(), seen, known);
    ValidateRequest request;
    request.caps = CapsFromJson(worker.What().at("caps"));
    request.grids = GridsFromJson(worker.What().at("grids"));
    request.known = known.known;
    request.setAside = known.validation.setAside;
    request.ahead = AheadIn(worker.What());
    request.phase = static_cast<Validator::Phase>(worker.What().at("phase").get<int>());
    SendingObserver observer(worker, request);
    VerdictCounts byVerdict;
    const Validation validation =
        ValidateFinds(worker.GetMedium(), seen, request, observer, [&](const Outcome& outcome) {
            observer.Add(OutcomeLine(outcome));
            ++byVerdict[VerdictName(outcome.finding.verdict)];
        });
    if (validation.complete) {
        observer.Add(SummaryLine(true, byVerdict));
    }
    observer.Send();
    return !worker.StopRequested();
}

}  // namespace salvor
