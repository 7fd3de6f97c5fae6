#include "host/validate/validate_worker.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <stdexcept>
#include <utility>

#include "host/platform/process.h"
#include "host/platform/shared_memory.h"
#include "host/say/failure.h"
#include "host/validate/outcomes_file.h"

namespace salvor {

namespace {

using std::chrono::steady_clock;

class SendingObserver : public ValidateObserver {
public:
    SendingObserver(Worker& worker, const ValidateRequest& request)
        : worker_(worker), ahead_(request.ahead), phase_(request.phase) {}

    bool OnPlace(Validator::Phase phase, std::int64_t byte) override {
        if (!ahead_) {
            worker_.Done(static_cast<std::int64_t>(phase) * worker_.GetMedium().SizeInBytes() + byte);
        } else if (phase == phase_) {
            worker_.Done(byte - ahead_->first * worker_.GetMedium().SectorSize());
        }
        if (steady_clock::now() >= nextSend_) {
            Send();
        }
        return worker_.StopRequested();
    }
    void OnFinding(const KnownFinding& finding) override { Add(FindingLine(finding)); }
    void OnRefused(std::int64_t sector, Validator::Phase phase) override {
        constexpr std::size_t inLine = 4096;
        auto& refused = refused_[static_cast<std::size_t>(phase)];
        if (refused.size() == inLine) {
            AddRefused(phase);
        }
        refused.push_back(sector);
    }
    bool WantsWalk() override { return steady_clock::now() >= nextWalk_; }
    void OnWalk(const WalkPlace& place, const WalkNote& note) override {
        Add(WalkLine(place, note));
        Send();
        nextWalk_ = steady_clock::now() + WalkInterval;
    }
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
        for (const auto phase : {Validator::Phase::Structure, Validator::Phase::Bounded, Validator::Phase::Text}) {
            AddRefused(phase);
        }
        worker_.Send(std::exchange(pending_, {}));
        nextSend_ = steady_clock::now() + interval;
    }

private:
    void AddRefused(Validator::Phase phase) {
        // Those beyond are asked about again; the file stays small.
        constexpr std::int64_t most = std::int64_t{1} << 18U;
        auto& refused = refused_[static_cast<std::size_t>(phase)];
        if (!refused.empty() && refusedCount_ < most) {
            refusedCount_ += std::ssize(refused);
            pending_ += RefusedLine(phase, refused);
        }
        refused.clear();
    }

    static constexpr std::chrono::seconds WalkInterval{2};

    Worker& worker_;
    std::optional<SectorRange> ahead_;
    Validator::Phase phase_;
    std::string pending_;
    // By phase, not sent yet.
    std::array<std::vector<std::int64_t>, 3> refused_;
    std::int64_t refusedCount_ = 0;
    steady_clock::time_point nextSend_ = steady_clock::now();
    steady_clock::time_point nextWalk_ = steady_clock::now() + WalkInterval;
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

// Some of the numbers of an order's input.
using Numbers = std::array<std::int64_t, 4096>;

Sightings SightingsIn(File& input) {
    Numbers numbers{};
    const std::int64_t size = input.Size().value_or(0);
    std::int64_t offset = 0;
    std::size_t at = numbers.size();
    return SightingsFrom([&] {
        if (at == numbers.size()) {
            const std::int64_t length = std::min<std::int64_t>(sizeof(numbers), size - offset);
            if (length <= 0 || !input.ReadAt(offset, numbers.data(), static_cast<std::size_t>(length))) {
                throw std::runtime_error("the order's input ends early");
            }
            offset += length;
            at = 0;
        }
        return numbers[at++];
    });
}

// What is known already. The last line may be incomplete, as the log grows.
OutcomesRead KnownIn(File& log) {
    OutcomesRead known;
    // Shorter than nearly all lines, so that no second copy is made as it grows; what is not used takes no memory.
    constexpr std::int64_t shortLine = 160;
    known.known.Reserve(static_cast<std::size_t>(log.Size().value_or(0) / shortLine));
    LineReader lines(log);
    std::string line;
    // The header.
    lines.Next(line);
    while (lines.Next(line) && !lines.WasCut()) {
        TakeOutcomesLine(line, known);
    }
    return known;
}

std::optional<SectorRange> AheadIn(const Json& what) {
    const auto ranges = RangesFromJson(what, "ahead");
    return ranges && !ranges->empty() ? std::optional(ranges->front()) : std::nullopt;
}

}  // namespace

FileDescriptor ValidateInput(const Sightings& seen) {
    File input(MakeMemoryFile(""));
    Numbers numbers{};
    std::size_t count = 0;
    const auto write = [&] {
        if (!input.Write(numbers.data(), std::exchange(count, 0) * sizeof(std::int64_t))) {
            throw Failure(ExitStatus::NotStarted, "cannot pass on what was found: " + input.Error().Text());
        }
    };
    ForEachNumber(seen, [&](std::int64_t number) {
        numbers[count++] = number;
        if (count == numbers.size()) {
            write();
        }
    });
    write();
    return input.TakeDescriptor();
}

Json ValidateParameters(const ValidateRequest& request) {
    return {{"caps", CapsToJson(request.caps)},
            {"grids", GridsToJson(request.grids)},
            {"ahead", RangesToJson(request.ahead ? std::vector{*request.ahead} : std::vector<SectorRange>())}};
}

bool ValidateInWorker(Worker& worker) {
    KeepFreedMemory();
    Sightings seen = SightingsIn(worker.Input());
    OutcomesRead known = KnownIn(worker.Log());
    ValidateRequest request;
    request.caps = CapsFromJson(worker.What().at("caps"));
    request.grids = GridsFromJson(worker.What().at("grids"));
    request.known = std::move(known.known);
    request.walks = std::move(known.walks);
    request.setAside = known.validation.setAside;
    request.ahead = AheadIn(worker.What());
    request.phase = static_cast<Validator::Phase>(worker.What().at("phase").get<int>());
    SendingObserver observer(worker, request);
    VerdictCounts byVerdict;
    const Validation validation =
        ValidateFinds(worker.GetMedium(), std::move(seen), std::move(request), observer, [&](const Outcome& outcome) {
            observer.Add(OutcomeLine(outcome));
            ++byVerdict[VerdictName(outcome.finding.verdict)];
        });
    if (validation.complete) {
        observer.Add(SummaryLine(/*isComplete=*/true, byVerdict));
    }
    observer.Send();
    return !worker.StopRequested();
}

}  // namespace salvor
