#include "host/validate/validate_run.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <deque>
#include <filesystem>
#include <thread>

#include "host/platform/shared_memory.h"
#include "host/platform/stop_request.h"
#include "host/say/failure.h"
#include "host/say/progress.h"
#include "host/say/say.h"
#include "host/say/size_text.h"
#include "host/validate/outcomes_file.h"
#include "host/validate/validate_worker.h"
#include "host/workers/crew.h"

namespace salvor {

namespace {

using std::chrono::steady_clock;

// Writes findings to the outcomes file as they come, and shows progress.
class Keeper {
public:
    Keeper(OutcomesWriter& writer, Medium& medium, const ValidateHow& how)
        : writer_(writer),
          medium_(medium),
          space_(how.space),
          progress_("validating", medium.SizeInBytes() * PhaseCount, how.quiet) {}

    void Keep(const KnownFinding& finding) {
        writer_.AddFinding(finding);
        if (finding.finding.verdict != Verdict::NoFile && finding.finding.type >= 0) {
            ++counts_[VerdictName(finding.finding.verdict)];
        }
    }
    void Keep(const KnownFindings& findings) {
        for (std::size_t i = 0; i < findings.Count(); ++i) {
            Keep(findings[i]);
        }
        for (const auto phase : {Validator::Phase::Structure, Validator::Phase::Bounded, Validator::Phase::Text}) {
            writer_.AddRefused(phase, findings.Refused(phase));
        }
    }
    void Keep(const KnownWalks& walks) {
        for (const auto& [place, note] : walks) {
            writer_.AddWalk(place, note);
        }
    }
    void Keep(const SetAside& setAside) {
        progress_.Clear();
        Say("validating sector {}: {} {}; what the scanners say of it counts",
            space_ ? space_->OnMedium(setAside.sector) : setAside.sector, setAside.who, setAside.how);
        writer_.AddSetAside(setAside);
    }
    void KeepUnreadable(const std::vector<SectorRange>& sectors) { writer_.AddUnreadable(sectors); }

    /// `done` counts the bytes of the medium once for each phase.
    void Turn(std::int64_t done) {
        progress_.Update(done, counts_);
        if (const auto now = steady_clock::now(); now >= nextSync_) {
            constexpr std::chrono::seconds syncInterval(2);
            writer_.AddUnreadable(medium_.TakeNewlyUnreadable().Ranges());
            writer_.Sync();
            nextSync_ = now + syncInterval;
        }
    }

    void Flush() { writer_.Flush(); }

    void TellEnd() { progress_.Update(PhaseCount * medium_.SizeInBytes(), counts_); }

private:
    static constexpr std::int64_t PhaseCount = 3;

    OutcomesWriter& writer_;
    Medium& medium_;
    std::shared_ptr<const Space> space_;
    Progress progress_;
    std::map<std::string, std::int64_t> counts_;
    steady_clock::time_point nextSync_ = steady_clock::now();
};

// For a medium that only this process has open.
class OwnObserver : public ValidateObserver {
public:
    OwnObserver(Keeper& keeper, const Medium& medium) : keeper_(keeper), medium_(medium) {}
    bool OnPlace(Validator::Phase phase, std::int64_t byte) override {
        keeper_.Turn(static_cast<std::int64_t>(phase) * medium_.SizeInBytes() + byte);
        return StopRequested();
    }
    void OnFinding(const KnownFinding& finding) override { keeper_.Keep(finding); }

private:
    Keeper& keeper_;
    const Medium& medium_;
};

int WorkersOf(const ValidateHow& how) {
    return how.workers > 0 ? how.workers : std::max(static_cast<int>(std::thread::hardware_concurrency()), 1);
}

// Sectors in up to `count` parts with about the same number of places each.
std::vector<SectorRange> Parts(const Sightings& seen, std::int64_t count, std::size_t leastPlaces) {
    std::vector<std::int64_t> sectors = seen.starts;
    std::ranges::transform(seen.finds, std::back_inserter(sectors), &Find::startSector);
    std::ranges::sort(sectors);
    sectors.erase(std::unique(sectors.begin(), sectors.end()), sectors.end());
    const std::size_t places = std::max(sectors.size() / static_cast<std::size_t>(count) + 1, leastPlaces);
    std::vector<SectorRange> parts;
    for (std::size_t i = 0; i < sectors.size(); i += places) {
        const std::int64_t end = i + places < sectors.size() ? sectors[i + places] : sectors.back() + 1;
        parts.push_back({sectors[i], end - sectors[i]});
    }
    return parts;
}

// Parts of the medium with about the same number of sectors at which text may begin; none if there are too few to
// share.
std::vector<SectorRange> TextParts(const Sightings& seen, std::int64_t sectorCount, std::int64_t count) {
    constexpr std::int64_t leastStarts = 256;
    SectorRangeSet starts;
    for (const SectorRange& range : seen.textStarts) {
        if (range.first >= 0 && range.first < sectorCount && range.count > 0) {
            starts.Add({range.first, std::min(range.count, sectorCount - range.first)});
        }
    }
    const std::int64_t inEach = std::max(starts.SectorCount() / count + 1, leastStarts);
    std::vector<SectorRange> parts;
    std::int64_t from = 0;
    std::int64_t missing = inEach;
    for (const SectorRange& range : starts.Ranges()) {
        std::int64_t at = 0;
        for (; range.count - at >= missing; missing = inEach) {
            at += missing;
            parts.push_back({from, range.first + at - from});
            from = range.first + at;
        }
        missing -= range.count - at;
    }
    if (!parts.empty() && from < sectorCount) {
        parts.push_back({from, sectorCount - from});
    }
    return parts;
}

// Lets workers look at parts of the medium, phase by phase, with the findings of the earlier phases. At the end one
// worker goes over everything, using all findings of the others.
class ValidateClient : public CrewClient {
public:
    // `place` is that of the outcomes file.
    ValidateClient(Medium& medium, const Sightings& seen, const FilePlace& place, const ValidateHow& how,
                   Keeper& keeper, const OutcomesRead& known)
        : medium_(medium),
          place_(place),
          input_(ValidateInput(seen)),
          access_(AccessTo(medium, how.image, how.space)),
          keeper_(keeper),
          isShare_(how.share.has_value()) {
        request_.caps = how.caps;
        request_.grids = how.grids;
        keeper_.Keep(known.known);
        keeper_.Keep(known.walks);
        for (const SetAside& one : known.validation.setAside) {
            SetAsideHere(one);
        }
        using Phase = Validator::Phase;
        const std::int64_t workers = WorkersOf(how);
        if (how.share) {
            const std::vector<SectorRange> shares = Parts(seen, how.share->count, 1);
            const auto index = static_cast<std::size_t>(how.share->number - 1);
            AddTodo(Phase::Structure, index < shares.size() ? std::vector{shares[index]} : std::vector<SectorRange>());
        } else if (workers > 1) {
            constexpr std::size_t leastPlaces = 256;
            AddTodo(Phase::Structure, Parts(seen, 4 * workers, leastPlaces));
            // Each part repeats the phases before it, most of whose findings are known. The second phase is short: for
            // few places, to start workers for it takes longer.
            constexpr std::size_t leastBoundedPlaces = 4096;
            if (const auto parts = Parts(seen, workers, leastBoundedPlaces); parts.size() > 1) {
                AddTodo(Phase::Bounded, parts);
            }
            // How long a text is shows only when it is read, so that some parts take several times as long as others.
            AddTodo(Phase::Text, TextParts(seen, medium.SectorCount(), 3 * workers));
        }
    }

    Validation TakeValidation() { return std::move(read_.validation); }
    bool IsShareDone() const { return isShare_ && todo_.empty() && underWay_.empty(); }

    std::optional<Order> NextOrder() override {
        const bool mustWait =
            !underWay_.empty() && (todo_.empty() || todo_.front().phase != underWay_.begin()->second.part->phase);
        if (mustWait || (todo_.empty() && (isShare_ || read_.validation.complete))) {
            return std::nullopt;
        }
        std::optional<ValidatePart> part;
        if (!todo_.empty()) {
            part = todo_.front();
            todo_.pop_front();
        } else {
            read_.validation.outcomes.clear();
        }
        Order order;
        order.id = nextId_++;
        order.kind = ValidateOrderKind;
        request_.ahead = part ? std::optional(part->sectors) : std::nullopt;
        order.what = ValidateParameters(request_);
        order.what["phase"] = static_cast<int>(part ? part->phase : Validator::Phase::Structure);
        order.medium = access_;
        keeper_.Flush();
        // Each worker reads the file from its beginning.
        File log = place_.Read();
        order.memory += 4 * input_.Size().value_or(0) + log.Size().value_or(0) / 2;
        order.input = input_.Descriptor();
        order.log = log.Descriptor();
        underWay_.emplace(order.id, UnderWay{part, 0, std::move(log)});
        return order;
    }

    void OnLine(std::int64_t /*id*/, const std::string& line) override {
        const std::size_t unreadable = read_.unreadable.size();
        try {
            TakeOutcomesLine(line, read_);
        } catch (const std::exception&) {
            throw Failure(ExitStatus::Losses, "a validating worker sent a line that makes no sense");
        }
        if (!read_.known.IsEmpty()) {
            keeper_.Keep(read_.known);
            read_.known.Clear();
        } else if (!read_.walks.empty()) {
            keeper_.Keep(std::exchange(read_.walks, {}));
        } else if (read_.unreadable.size() > unreadable) {
            access_.unreadable.insert(access_.unreadable.end(), read_.unreadable.begin(), read_.unreadable.end());
            keeper_.KeepUnreadable(read_.unreadable);
            medium_.NoteUnreadable(read_.unreadable);
            read_.unreadable.clear();
        } else if (!read_.validation.outcomes.empty() && !IsOnMedium(read_.validation.outcomes.back())) {
            throw Failure(ExitStatus::Losses, "a validating worker named a place outside the medium");
        }
    }

    void OnStanding(std::int64_t id, const Standing& standing) override { underWay_.at(id).done = standing.done; }

    void OnTurn() override {
        std::int64_t done = doneAhead_;
        for (const auto& [id, one] : underWay_) {
            done = one.part ? done + one.done : std::max(done, one.done);
        }
        keeper_.Turn(done);
    }

    void OnEnd(std::int64_t id, const WorkerEnd& end) override {
        const std::optional<ValidatePart> part = underWay_.at(id).part;
        underWay_.erase(id);
        if (IsFault(end.ending) && end.at.subject >= 0 && !IsSetAside(end)) {
            SetAsideHere({end.at.sectors.first, NameOfAsked(Validators(), end.at.subject), end.text});
            if (part) {
                todo_.push_front(*part);
            }
        } else if (IsFault(end.ending) || end.ending == Ending::Failed) {
            throw Failure(ExitStatus::Losses, "validating cannot go on: " + end.text);
        } else if (part) {
            doneAhead_ += part->sectors.count * medium_.SectorSize();
        }
    }

    bool StopRequested() override { return salvor::StopRequested(); }

private:
    struct ValidatePart {
        Validator::Phase phase = Validator::Phase::Structure;
        SectorRange sectors;
    };
    struct UnderWay {
        // Nothing for the worker that looks at everything.
        std::optional<ValidatePart> part;
        std::int64_t done = 0;
        File log;
    };

    void AddTodo(Validator::Phase phase, const std::vector<SectorRange>& parts) {
        for (const SectorRange& sectors : parts) {
            todo_.push_back({phase, sectors});
        }
    }

    bool IsSetAside(const WorkerEnd& end) const {
        return std::ranges::any_of(read_.validation.setAside, [&](const SetAside& one) {
            return one.sector == end.at.sectors.first && one.who == NameOfAsked(Validators(), end.at.subject);
        });
    }

    void SetAsideHere(const SetAside& setAside) {
        keeper_.Keep(setAside);
        read_.validation.setAside.push_back(setAside);
    }

    // The medium may have taken control of a worker, so its answers are checked.
    bool IsOnMedium(const Outcome& outcome) const {
        const std::int64_t start = outcome.startSector;
        return outcome.finding.verdict == Verdict::NoFile ||
               (start >= 0 && start < medium_.SectorCount() &&
                outcome.finding.size <= medium_.SizeInBytes() - start * medium_.SectorSize());
    }

    Medium& medium_;
    const FilePlace& place_;
    // The sightings, for the workers. What is known already, they read from the outcomes file.
    File input_;
    MediumAccess access_;
    Keeper& keeper_;
    bool isShare_;
    ValidateRequest request_;
    // Ordered by phase.
    std::deque<ValidatePart> todo_;
    std::map<std::int64_t, UnderWay> underWay_;
    std::int64_t nextId_ = 0;
    std::int64_t doneAhead_ = 0;
    // Outcomes and what is set aside; everything else is here only briefly.
    OutcomesRead read_;
};

// What earlier runs have found out.
struct EarlierRuns {
    // Of what is validated, and where its clusters lie.
    std::string digest;
    // Of a run that did come to its end. The rest is then of no use.
    std::optional<Validation> complete;
    OutcomesRead known;
    SectorRangeSet unreadable;
    std::vector<Piece> done;

    void Add(OutcomesRead& read) {
        std::ranges::for_each(read.unreadable, [this](SectorRange range) { unreadable.Add(range); });
        known.known.Add(read.known);
        known.walks.merge(read.walks);
        std::ranges::move(read.validation.setAside, std::back_inserter(known.validation.setAside));
        if (read.piece) {
            done.push_back(*read.piece);
        }
    }
};

// Drops what was seen while all outcomes are read, as both may be large.
std::optional<OutcomesRead> ReadEarlier(const FilePlace& place, const std::string& digest, const ValidateHow& how,
                                        Sightings& seen) {
    const bool mayDrop = how.seeAgain && HasAllOutcomes(place, digest);
    if (mayDrop) {
        seen = {};
    }
    auto read = ReadOutcomes(place);
    if (mayDrop && !(read && read->validation.complete)) {
        seen = how.seeAgain();
    }
    return read;
}

EarlierRuns ReadEarlierRuns(Medium& medium, Sightings& seen, const ResultsPlace& outcomes, const ValidateHow& how) {
    const std::string sighted = DigestOf(medium, seen, how.caps);
    EarlierRuns runs;
    runs.digest = DigestWith(sighted, how.grids);
    std::vector<FilePlace> places{outcomes.place};
    places.insert(places.end(), outcomes.earlier.begin(), outcomes.earlier.end());
    for (const FilePlace& place : places) {
        auto read = ReadEarlier(place, runs.digest, how, seen);
        if (!read || !read->digest.starts_with(sighted)) {
            continue;
        }
        if (read->digest != runs.digest) {
            // Only texts depend on where clusters lie.
            read->validation.complete = false;
            read->known.Drop(Validator::Phase::Text);
        }
        medium.NoteUnreadable(read->unreadable);
        if (read->validation.complete) {
            runs.complete = std::move(read->validation);
            return runs;
        }
        runs.Add(*read);
    }
    return runs;
}

void RequireAllShares(const std::vector<Piece>& done) {
    if (done.empty()) {
        throw Failure(ExitStatus::NotStarted,
                      "the finds have not been validated; run 'salvor validate' on them first, at once or in "
                      "segments");
    }
    if (const std::string missing = MissingPieces(done); !missing.empty()) {
        throw Failure(ExitStatus::NotStarted,
                      fmt::format("of 'salvor validate' the segments {} are not done yet; run these first", missing));
    }
}

}  // namespace

std::string PathBeside(const std::string& findsPath, const std::string& what) {
    const std::filesystem::path path(findsPath);
    std::string name = path.filename().string();
    constexpr std::string_view finds = "finds";
    const std::size_t at = name.rfind(finds);
    name = at == std::string::npos ? name + '.' + what : name.replace(at, finds.size(), what);
    return (path.parent_path() / name).string();
}

std::string OutcomesPathOf(const std::string& findsPath) { return PathBeside(findsPath, "outcomes"); }

std::vector<FilePlace> SharesIn(const Folder& folder, const std::string& outcomesName) {
    std::vector<FilePlace> shares;
    folder.AnyEntry([&](const std::string& name) {
        if (PieceNamed(name, outcomesName)) {
            shares.emplace_back(folder, name);
        }
        return false;
    });
    return shares;
}

Validation ValidateWithFile(Medium& medium, Sightings seen, const ResultsPlace& outcomes, const ValidateHow& how) {
    EarlierRuns runs = ReadEarlierRuns(medium, seen, outcomes, how);
    if (runs.complete) {
        return *std::move(runs.complete);
    }
    if (how.needsShares) {
        RequireAllShares(runs.done);
    }
    OutcomesWriter writer(outcomes.place, runs.digest, how.draftSuffix);
    writer.AddUnreadable(runs.unreadable.Ranges());
    Validation validation;
    bool isShareDone = false;
    {
        Keeper keeper(writer, medium, how);
        if (how.image.path.empty() && medium.Descriptors().empty()) {
            OwnObserver observer(keeper, medium);
            keeper.Keep(runs.known.known);
            writer.TakeName();
            ValidateRequest request;
            request.caps = how.caps;
            request.grids = how.grids;
            request.known = std::move(runs.known.known);
            validation = ValidateFinds(medium, seen, std::move(request), observer);
        } else {
            ValidateClient client(medium, seen, outcomes.place, how, keeper, runs.known);
            seen = {};
            runs.known = {};
            writer.TakeName();
            RunCrew({.workers = WorkersOf(how)}, client);
            isShareDone = client.IsShareDone() && !StopRequested();
            validation = client.TakeValidation();
            if (validation.complete) {
                keeper.TellEnd();
            }
        }
    }
    writer.AddUnreadable(medium.TakeNewlyUnreadable().Ranges());
    if (isShareDone) {
        writer.AddPiece(*how.share);
    } else {
        writer.Add(validation);
    }
    return validation;
}

std::string OutcomesTable(const Validation& validation) {
    std::map<Verdict, std::int64_t> counts;
    for (const Outcome& outcome : validation.outcomes) {
        ++counts[outcome.finding.verdict];
    }
    return fmt::format("{} whole, {} open, {} truncated, {} damaged; not files: {}\n", counts[Verdict::Whole],
                       counts[Verdict::Open], counts[Verdict::Truncated], counts[Verdict::Damaged],
                       Counted(counts[Verdict::NoFile], "find"));
}

}  // namespace salvor
