#include "host/scan/segment_run.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <deque>
#include <iterator>
#include <limits>
#include <map>
#include <numeric>
#include <optional>
#include <utility>

#include "host/platform/stop_request.h"
#include "host/say/progress.h"
#include "host/say/say.h"
#include "host/scan/scan_order.h"
#include "host/scan/scanners.h"
#include "host/workers/crew.h"

namespace salvor {

namespace {

using std::chrono::steady_clock;

// The most work, in seconds, that is lost if a run is killed.
constexpr double OrderSeconds = 6;

// Where scanning is slow, a type that does not come to rest over this many bytes is given up.
constexpr std::int64_t GiveUpBytes = std::int64_t{8} << 20;

std::string NameOf(std::int32_t type) {
    return type == StartsType ? "what looks for starts"
                              : fmt::format("the scanner of {} (type {})", ExtensionOf(type), type);
}

// A part, and what looks at it.
struct Part {
    ScanPart part;
    std::vector<std::int32_t> types;
    bool withStarts = false;
};

class SegmentRun final : public CrewClient {
public:
    SegmentRun(Medium& medium, const SegmentStore& store, const SegmentRunOptions& options)
        : medium_(medium), store_(store), options_(options), grid_(store.Grid()) {
        for (SegmentStore::Stored& stored : store.ReadAll()) {
            Add(std::move(stored));
        }
        AddZeros();
        for (const OpenPart& open : Open(options_.blocks)) {
            total_ += BytesOf(open.blocks);
        }
        progress_.emplace("scanning", total_, options_.quiet);
    }

    SegmentRunResult Run() {
        RunCrew({.workers = options_.workers}, *this);
        // The last worker may have ended after the last call.
        OnTurn();
        progress_->Clear();
        SegmentRunResult result;
        result.isComplete = isDone_;
        for (const SegmentScan& segment : segments_) {
            std::ranges::copy(segment.setAside, std::back_inserter(result.setAside));
        }
        return result;
    }

    std::optional<Order> NextOrder() override {
        if (queue_.empty() && running_.empty() && !isDone_) {
            Plan();
        }
        if (queue_.empty()) {
            return std::nullopt;
        }
        Part part = std::move(queue_.front());
        queue_.pop_front();
        return Begin(std::move(part));
    }

    void OnStanding(std::int64_t id, const Standing& standing) override { running_.at(id).done = standing.done; }

    void OnTurn() override {
        std::int64_t done = scanned_;
        for (const auto& [id, running] : running_) {
            done += std::clamp<std::int64_t>(running.done, 0, BytesOf({running.part.part.from, running.part.part.to}));
        }
        progress_->Update(std::min(done, total_), counts_);
    }

    bool StopRequested() override { return salvor::StopRequested(); }

    void OnEnd(std::int64_t id, const WorkerEnd& end) override {
        const auto at = running_.find(id);
        Running running = std::move(at->second);
        running_.erase(at);
        if (end.ending == Ending::Done) {
            if (auto stored = store_.Keep(std::move(running.draft))) {
                Take(*std::move(stored), running);
                return;
            }
            OnFault(running.part, {Ending::Crashed, end.at, "wrote a journal that cannot be read"});
            return;
        }
        store_.Drop(std::move(running.draft));
        if (IsFault(end.ending)) {
            OnFault(running.part, end);
        } else if (end.ending != Ending::Stopped) {
            throw Failure(ExitStatus::Losses,
                          fmt::format("scanning cannot go on: {}; what is scanned stays, and the same command goes on",
                                      end.text));
        }
    }

private:
    struct Running {
        Part part;
        SegmentStore::Draft draft;
        steady_clock::time_point start;
        std::int64_t done = 0;
    };

    std::int64_t BytesOf(BlockRange blocks) const { return grid_.SectorsOf(blocks).count * medium_.SectorSize(); }

    std::vector<OpenPart> Open(BlockRange blocks) const {
        return OpenParts(grid_, blocks, segments_, options_.segmentBlocks);
    }

    // Segments of known zeros need no worker.
    void AddZeros() {
        BlockRange zeros;
        for (const OpenPart& open : Open(options_.blocks)) {
            const SectorRange sectors = grid_.SectorsOf(open.blocks);
            if (medium_.ZeroSectorsFrom(sectors.first) < sectors.count) {
                continue;
            }
            if (zeros.end != open.blocks.first && zeros.end > zeros.first) {
                AddWithoutJournal(SegmentOfZeros(grid_, zeros));
                zeros = open.blocks;
            }
            zeros = zeros.end == zeros.first ? open.blocks : BlockRange{zeros.first, open.blocks.end};
        }
        if (zeros.end > zeros.first) {
            AddWithoutJournal(SegmentOfZeros(grid_, zeros));
        }
    }

    // For a segment in which nothing was scanned.
    void AddWithoutJournal(SegmentScan segment) {
        segments_.push_back(std::move(segment));
        journals_.emplace_back();
    }

    void Add(SegmentStore::Stored stored) {
        medium_.NoteUnreadable(stored.unreadable);
        for (const auto& [type, count] : stored.counts) {
            counts_[ExtensionOf(type)] += count;
        }
        segments_.push_back(std::move(stored.segment));
        journals_.push_back(std::move(stored.name));
    }

    // Plans the next parts, once the previous plan is done.
    void Plan() {
        for (OpenPart& open : Open(options_.blocks)) {
            queue_.push_back(PartOf(open.blocks, std::move(open.types), open.withStarts));
        }
        if (!queue_.empty()) {
            return;
        }
        JoinPlan plan;
        if (options_.take) {
            plan = PlanJoin(grid_, segments_);
            QueueMissing(std::move(plan.missing));
        }
        isDone_ = queue_.empty();
        if (isDone_ && options_.take) {
            Join(plan);
        }
    }

    void Join(const JoinPlan& plan) {
        std::vector<std::size_t> order(segments_.size());
        std::iota(order.begin(), order.end(), std::size_t{0});
        std::ranges::stable_sort(order, {}, [&](std::size_t i) { return segments_[i].blocks.first; });
        SegmentJoiner joiner(grid_);
        for (const std::size_t i : order) {
            if (!journals_[i].empty()) {
                options_.take(joiner.Add(store_.Read(journals_[i]), plan.kept[i]));
            }
        }
        options_.take(joiner.Finish());
    }

    // Types that are not at rest go on for about one more segment, but not into blocks that are set aside for them.
    Part PartOf(BlockRange blocks, std::vector<std::int32_t> types, bool withStarts) const {
        const std::int64_t wall = NextSetAside(grid_, segments_, types, blocks.end);
        const std::int64_t behind = std::min(options_.segmentBlocks, wall - blocks.end);
        Part part{SegmentOf(grid_, blocks, behind), std::move(types), withStarts};
        part.part.mostRestless = std::max<std::int64_t>(GiveUpBytes / BytesOf({0, 1}), 1);
        return part;
    }

    // Types that need the same part scan it together, but are spread over the workers.
    void QueueMissing(std::vector<MissingPart> missing) {
        std::vector<Part> parts;
        for (MissingPart& one : missing) {
            const auto isSame = [&](const Part& part) {
                return part.part == one.part;
            };
            const auto same = std::ranges::count_if(parts, isSame);
            const auto least = std::ranges::min_element(parts, {}, [&](const Part& part) {
                return isSame(part) ? part.types.size() : std::numeric_limits<std::size_t>::max();
            });
            if (same < options_.workers) {
                parts.push_back({std::move(one.part), {one.type}, false});
            } else {
                least->types.push_back(one.type);
            }
        }
        std::ranges::move(parts, std::back_inserter(queue_));
    }

    Order Begin(Part part) {
        Order order;
        order.id = ++lastId_;
        order.kind = ScanOrderKind;
        ScanRequest request = options_.request;
        request.types = part.types;
        request.withStarts = part.withStarts;
        std::erase_if(request.caps,
                      [&](const auto& cap) { return std::ranges::find(part.types, cap.first) == part.types.end(); });
        order.what = ToJson(ScanOrder{std::move(request), part.part, store_.Key(), OrderSeconds});
        order.medium = AccessTo(medium_, options_.image, options_.space);
        // Two blocks are in memory at a time, and one of zeros.
        order.memory += 3 * BytesOf({0, 1});
        SegmentStore::Draft draft = store_.Begin({part.part.from, part.part.to});
        Running running{std::move(part), std::move(draft), steady_clock::now()};
        order.output = running.draft.file.Descriptor();
        running_.emplace(order.id, std::move(running));
        return order;
    }

    void Take(SegmentStore::Stored stored, const Running& running) {
        failures_ = 0;
        const BlockRange blocks = stored.segment.blocks;
        const BlockRange rest{blocks.end, running.part.part.to};
        const std::int64_t bytes = BytesOf(blocks);
        scanned_ += bytes;
        Add(std::move(stored));
        const double seconds = std::chrono::duration<double>(steady_clock::now() - running.start).count();
        const double speed = static_cast<double>(bytes) / std::max(seconds, 1e-3);
        if (rest.first < rest.end) {
            QueueRest(rest, running.part, IsSlow(speed));
        }
        fastest_ = std::max(fastest_, speed);
    }

    bool IsSlow(double speed) const {
        constexpr double slowAnywhere = 4 << 20;
        return speed < slowAnywhere && speed < fastest_ / 16;
    }

    // A worker's time ran out before its part ended. Where the medium is slow, the next stretch waits until the end.
    void QueueRest(BlockRange rest, const Part& part, bool isSlow) {
        if (isSlow) {
            constexpr std::int64_t putOffBytes = std::int64_t{64} << 20;
            const std::int64_t most = std::max<std::int64_t>(putOffBytes / BytesOf({0, 1}), 1);
            const std::int64_t end = std::min(rest.first + most, rest.end);
            queue_.push_back(PartOf({rest.first, end}, part.types, part.withStarts));
            rest.first = end;
        }
        if (rest.first < rest.end) {
            queue_.push_front(PartOf(rest, part.types, part.withStarts));
        }
    }

    std::optional<std::int64_t> BlockAt(const Standing& at, const ScanPart& part) const {
        if (at.sectors.count < 1 || at.sectors.first < grid_.range.first) {
            return std::nullopt;
        }
        const std::int64_t block = grid_.BlockOf(at.sectors.first);
        return block >= part.from && block < part.last ? std::optional(block) : std::nullopt;
    }

    // A worker failed. The type that it was working on scans the part alone; if that fails too, its blocks are set
    // aside.
    void OnFault(const Part& part, const WorkerEnd& end) {
        const auto block = BlockAt(end.at, part.part);
        // Some workers fail because of the medium's bytes, but if all do, the reason is another one.
        constexpr int mostInARow = 24;
        if (++failures_ == mostInARow) {
            throw Failure(ExitStatus::NotStarted, fmt::format("every worker fails: it {}", end.text));
        }
        if (part.types.size() + (part.withStarts ? 1U : 0U) > 1) {
            Split(part, end.at.subject);
        } else {
            SetAsideAt(block.value_or(part.part.from), part, end.text);
        }
    }

    void Split(const Part& part, std::int32_t culprit) {
        Part alone = part;
        Part others = part;
        const auto half = part.types.begin() + std::ssize(part.types) / 2;
        if (std::ranges::find(part.types, culprit) != part.types.end()) {
            alone.types = {culprit};
            alone.withStarts = false;
            std::erase(others.types, culprit);
        } else if (part.withStarts) {
            alone.types.clear();
            others.withStarts = false;
        } else {
            alone.types.assign(part.types.begin(), half);
            others.types.assign(half, part.types.end());
        }
        queue_.push_front(std::move(others));
        queue_.push_front(std::move(alone));
    }

    void SetAsideAt(std::int64_t block, const Part& part, const std::string& why) {
        const std::int32_t type = part.types.empty() ? StartsType : part.types.front();
        const std::int64_t end = block < part.part.to ? part.part.to : part.part.last;
        const BlockRange blocks{block, std::min(block + SetAsideSize(type, block), end)};
        SegmentScan segment{blocks, false, {}, {}, {{type, blocks, why}}};
        store_.Add(segment);
        AddWithoutJournal(std::move(segment));
        const SectorRange sectors = grid_.SectorsOf(blocks);
        progress_->Clear();
        Say("{} {} in sectors {} to {}, which are set aside for it; all else is scanned", NameOf(type), why,
            OnMedium(sectors.first), OnMedium(sectors.first + sectors.count - 1));
        if (!part.part.mayEndSooner) {
            // Joining then requests what is missing.
            return;
        }
        for (const OpenPart& open : Open({part.part.from, part.part.to})) {
            const bool isOfPart =
                type == StartsType ? open.withStarts : std::ranges::find(open.types, type) != open.types.end();
            if (isOfPart) {
                queue_.push_front(PartOf(open.blocks, part.types, part.withStarts));
            }
        }
    }

    // The sector number for messages.
    std::int64_t OnMedium(std::int64_t sector) const {
        return options_.space ? options_.space->OnMedium(sector) : sector;
    }

    // One block. After several failures in a row, as many blocks as have failed just before, so that a long stretch of
    // bad blocks does not take long.
    std::int64_t SetAsideSize(std::int32_t type, std::int64_t block) const {
        constexpr std::int64_t fewest = 4;
        std::int64_t failed = 0;
        for (bool goesOn = true; goesOn;) {
            goesOn = false;
            for (const SegmentScan& segment : segments_) {
                for (const BlocksSetAside& aside : segment.setAside) {
                    if (aside.type == type && aside.blocks.end == block - failed) {
                        failed += aside.blocks.end - aside.blocks.first;
                        goesOn = true;
                    }
                }
            }
        }
        return failed < fewest ? 1 : failed;
    }

    Medium& medium_;
    const SegmentStore& store_;
    const SegmentRunOptions& options_;
    const ScanGrid& grid_;
    // Their finds stay in the journals; the name is empty if there is no journal.
    std::vector<SegmentScan> segments_;
    std::vector<std::string> journals_;
    std::deque<Part> queue_;
    std::map<std::int64_t, Running> running_;
    bool isDone_ = false;
    std::int64_t lastId_ = 0;
    // Failures since the last success.
    int failures_ = 0;
    // Bytes a second for a single worker.
    double fastest_ = 0;
    std::int64_t total_ = 0;
    std::int64_t scanned_ = 0;
    std::map<std::string, std::int64_t> counts_;
    std::optional<Progress> progress_;
};

}  // namespace

SegmentRunResult RunSegments(Medium& medium, const SegmentStore& store, const SegmentRunOptions& options) {
    return SegmentRun(medium, store, options).Run();
}

}  // namespace salvor
