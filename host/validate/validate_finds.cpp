#include "host/validate/validate_finds.h"

#include <FileTypeCatalog.h>
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <limits>
#include <optional>
#include <tuple>
#include <unordered_map>
#include <utility>

#include "host/scan/scanners.h"
#include "host/validate/cluster_grid.h"

namespace salvor {

namespace {

using Phase = Validator::Phase;

// What `Validator::begins` is shown.
constexpr std::int64_t HeadBytes = 4096;
// A start that no scanner reports needs as much unbroken structure to become a file without a declared end.
constexpr std::int64_t LeastOpenStart = 4096;
// What may be read for what is most likely a part of the text around it.
constexpr std::int64_t AllowanceInsideText = std::int64_t{256} << 10;
constexpr int Nobody = -1;

constexpr const char* OutsideWhy = "it starts outside the medium";
constexpr const char* UnreadableWhy = "sectors inside it cannot be read";
constexpr const char* UnexaminedWhy = "size as the scanner reports it; finding out more would take too much reading";

// Types that say less about a file than others that claim it too: any run of letters is plain text, any ASF film is an
// ASF file, any package a ZIP archive, and one maker's raws have two names.
int GeneralityOf(std::int32_t type) {
    if (type == FileTypeIndex::Text) {
        return 2;
    }
    return type == FileTypeIndex::Asf || type == FileTypeIndex::Srf || type == FileTypeIndex::Zip ? 1 : 0;
}

// Their scanners take the header's word, or decode any bytes: another whole file inside says that they are wrong.
bool IsCredulous(std::int32_t type) {
    return type == FileTypeIndex::Bmp || type == FileTypeIndex::Pcx || type == FileTypeIndex::Icc ||
           type == FileTypeIndex::Mb;
}

// Who says it: the index of a validator, or `Nobody` for a scanner.
struct Judgement {
    Finding finding;
    int validator = Nobody;
};

bool IsFile(const Finding& finding) { return finding.verdict != Verdict::NoFile; }

// What a validator whose reading was cut short leaves to the scanners.
Finding Unexamined() {
    Finding finding;
    finding.verdict = Verdict::Open;
    finding.why = UnexaminedWhy;
    return finding;
}
bool IsUnexamined(const Finding& finding) { return IsFile(finding) && finding.type < 0; }

Finding NoFileBecause(std::string why) {
    Finding finding;
    finding.why = std::move(why);
    return finding;
}

// Sectors with finds or a validator's own signature.
struct Spot {
    std::int64_t sector = 0;
    // Of the sorted finds.
    std::size_t firstFind = 0;
    std::size_t findCount = 0;
    bool isStart = false;
    // Another whole file inside shows that it is none.
    bool isCrossed = false;
};

// What became of a spot.
enum class State : std::uint8_t { Nothing, Inside, Judged };

// A range that is somebody's: nothing else is looked for there, or less.
struct Cover {
    std::int64_t end = 0;
    std::size_t spot = 0;
    std::int64_t sector = 0;
    int validator = Nobody;
    bool Holds(std::int64_t byte) const { return byte < end; }
};

// Stops a scan once it has found what begins at its first sector.
class FirstFind : public ScanObserver {
public:
    FirstFind(std::int64_t sector, std::int64_t sectorSize, std::int64_t mostBytes)
        : sector_(sector), sectorSize_(sectorSize), mostBytes_(mostBytes) {}
    void OnFind(const Find& find) override {
        if (find.startSector == sector_) {
            size = find.size;
        }
    }
    void OnBlockDone(std::int64_t nextSector) override { bytes = (nextSector - sector_) * sectorSize_; }
    bool StopRequested() override { return size || bytes > mostBytes_; }

    std::optional<std::int64_t> size;
    std::int64_t bytes = 0;

private:
    std::int64_t sector_;
    std::int64_t sectorSize_;
    std::int64_t mostBytes_;
};

class FindsValidator {
public:
    FindsValidator(Medium& medium, const Sightings& seen, const ValidateRequest& request, ValidateObserver& observer)
        : medium_(medium),
          sectorSize_(medium.SectorSize()),
          request_(request),
          observer_(observer),
          left_(AllowanceOf(medium, 8)),
          perFile_(AllowanceOf(medium, 2)) {
        unreadable_ = OnMedium(seen.unreadable);
        textRuns_ = OnMedium(seen.textStarts).Ranges();
        coveringPhase_.fill(std::nullopt);
        for (const Validator* const validator : request.validators) {
            for (const std::int32_t type : validator->types) {
                coveringPhase_[static_cast<std::size_t>(type)] = validator->phase;
            }
        }
        for (const KnownFinding& known : request.known) {
            known_.emplace(KeyOf(known.startSector, known.phase), &known);
        }
        CollectSpots(seen);
    }

    Validation Run() {
        Validation result;
        result.complete = Walk(Phase::Structure) && Walk(Phase::Bounded) && ReadTexts();
        if (result.complete) {
            TakeOutcomes(result.outcomes);
        }
        return result;
    }

private:
    // Files do not share their bytes, but what is tried in vain does.
    static std::int64_t AllowanceOf(const Medium& medium, std::int64_t times) {
        constexpr std::int64_t least = std::int64_t{64} << 20;
        return least + std::min(medium.SizeInBytes(), std::numeric_limits<std::int64_t>::max() / 16) * times;
    }

    static std::uint64_t KeyOf(std::int64_t sector, Phase phase) {
        return static_cast<std::uint64_t>(sector) * 4 + static_cast<std::uint64_t>(phase);
    }

    bool IsOnMedium(std::int64_t sector) const { return sector >= 0 && sector < medium_.SectorCount(); }
    // What of the ranges lies on the medium.
    SectorRangeSet OnMedium(const std::vector<SectorRange>& ranges) const {
        SectorRangeSet set;
        for (const SectorRange& range : ranges) {
            if (IsOnMedium(range.first) && range.count > 0) {
                set.Add({range.first, std::min(range.count, medium_.SectorCount() - range.first)});
            }
        }
        return set;
    }
    std::int64_t ByteOf(std::int64_t sector) const { return sector * sectorSize_; }
    std::int64_t BytesFrom(std::int64_t sector) const { return medium_.SizeInBytes() - ByteOf(sector); }
    std::int64_t EndOf(std::int64_t sector, const Finding& finding) const { return ByteOf(sector) + finding.size; }

    void CollectSpots(const Sightings& seen) {
        finds_ = seen.finds;
        std::ranges::sort(finds_, {},
                          [](const Find& find) { return std::tuple(find.startSector, find.type, find.size); });
        finds_.erase(std::unique(finds_.begin(), finds_.end()), finds_.end());
        std::vector<std::int64_t> starts = seen.starts;
        std::ranges::sort(starts);
        std::size_t start = 0;
        const auto addStartsUpTo = [&](std::int64_t sector) {
            for (; start < starts.size() && starts[start] < sector; ++start) {
                if (IsOnMedium(starts[start]) && (spots_.empty() || spots_.back().sector != starts[start])) {
                    spots_.push_back({starts[start], 0, 0, true});
                }
            }
        };
        for (std::size_t i = 0; i < finds_.size();) {
            Spot spot{finds_[i].startSector, i, 0, false};
            while (i < finds_.size() && finds_[i].startSector == spot.sector) {
                ++i;
            }
            spot.findCount = i - spot.firstFind;
            addStartsUpTo(spot.sector);
            for (; start < starts.size() && starts[start] == spot.sector; ++start) {
                spot.isStart = true;
            }
            spots_.push_back(spot);
        }
        addStartsUpTo(std::numeric_limits<std::int64_t>::max());
        for (const Spot& spot : spots_) {
            if (IsOnMedium(spot.sector) && (spot.isStart || GeneralityOf(LeastGeneralType(spot)) < 2)) {
                neighbours_.starts.push_back(spot.sector);
            }
        }
        states_.resize(spots_.size());
        judgements_.resize(spots_.size());
        asked_.resize(spots_.size() * 2, NotAsked);
    }

    std::span<const Find> FindsAt(const Spot& spot) const {
        return std::span(finds_).subspan(spot.firstFind, spot.findCount);
    }

    std::int32_t LeastGeneralType(const Spot& spot) const {
        const auto finds = FindsAt(spot);
        return std::ranges::min(finds, {}, [](const Find& find) { return GeneralityOf(find.type); }).type;
    }

    std::optional<Phase> PhaseOfType(std::int32_t type) const { return coveringPhase_[static_cast<std::size_t>(type)]; }

    // ---- What the validators say.

    // What the validators of a phase say of a place, by the one that is believed most; nothing where none of them sees
    // its format begin. `exceptFor` is not asked.
    std::optional<Judgement> Ask(std::int64_t sector, Phase phase, std::int64_t most, int exceptFor = Nobody) {
        if (const auto known = known_.find(KeyOf(sector, phase)); known != known_.end()) {
            const int validator = IndexOf(known->second->validator);
            if (validator != Nobody && left_ > 0) {
                left_ -= known->second->cost;
                observer_.OnFinding(*known->second);
                return Judgement{known->second->finding, validator};
            }
        }
        if (left_ <= 0) {
            return Judgement{Unexamined(), Nobody};
        }
        const std::int64_t before = left_;
        std::optional<Judgement> best = AskAnew(sector, phase, most, exceptFor);
        if (best) {
            observer_.OnFinding({sector, phase,
                                 std::string(request_.validators[static_cast<std::size_t>(best->validator)]->name),
                                 best->finding, before - left_});
        }
        return best;
    }

    std::optional<Judgement> AskAnew(std::int64_t sector, Phase phase, std::int64_t most, int exceptFor) {
        const std::int64_t given = std::min({left_, perFile_, most});
        ReadAllowance allowance(given);
        Place place(medium_, sector, neighbours_, allowance);
        const auto headBytes = static_cast<std::size_t>(std::min(HeadBytes, place.Limit()));
        const ByteSpan shown = place.At(0, headBytes);
        const std::vector<std::uint8_t> head(shown.begin(), shown.end());
        left_ -= given - allowance.Left();
        std::optional<Judgement> best;
        for (std::size_t i = 0; i < request_.validators.size(); ++i) {
            const Validator& validator = *request_.validators[i];
            if (validator.phase != phase || static_cast<int>(i) == exceptFor || !validator.begins(head)) {
                continue;
            }
            allowance = ReadAllowance(std::min(left_, given));
            const std::int64_t before = allowance.Left();
            Finding finding = Checked(validator.validate(place), place.Limit());
            left_ -= before - allowance.Left();
            if (allowance.IsUsedUp()) {
                finding = Unexamined();
            }
            if (!best || finding.verdict < best->finding.verdict) {
                best = Judgement{std::move(finding), static_cast<int>(i)};
            }
        }
        return best;
    }

    // A finding that breaks the contract is none.
    static Finding Checked(Finding finding, std::int64_t limit) {
        const bool isType = finding.type >= 0 && finding.type < FileTypeCount;
        if (IsFile(finding) && (!isType || finding.size <= 0 || finding.size > limit)) {
            return NoFileBecause("nothing of it is there");
        }
        return finding;
    }

    int IndexOf(const std::string& name) const {
        const auto found = std::ranges::find(request_.validators, name, [](const Validator* one) { return one->name; });
        return found == request_.validators.end() ? Nobody : static_cast<int>(found - request_.validators.begin());
    }

    // The same for a spot, once.
    const Judgement* AskOnce(std::size_t index, Phase phase, int exceptFor) {
        std::int32_t& slot = asked_[2 * index + (phase == Phase::Bounded ? 1 : 0)];
        if (slot == NotAsked) {
            slot = NoAnswer;
            if (auto answer = Ask(spots_[index].sector, phase, perFile_, exceptFor)) {
                slot = static_cast<std::int32_t>(answers_.size());
                answers_.push_back(*std::move(answer));
            }
        }
        return slot == NoAnswer ? nullptr : &answers_[static_cast<std::size_t>(slot)];
    }

    // ---- What the scanners say.

    // The size that a scanner finds without its own cap, where it has reached that one.
    std::int64_t SizeWithoutCap(const Find& find) {
        const std::int64_t cap = FileTypeCatalog[find.type].maxSize;
        if (cap <= 0 || find.size < cap || request_.caps.contains(find.type)) {
            return find.size;
        }
        const auto known = uncapped_.find({find.startSector, find.type});
        if (known != uncapped_.end()) {
            return known->second;
        }
        constexpr std::int64_t highCap = std::int64_t{1} << 37;
        constexpr std::int64_t blockBytes = std::int64_t{1} << 20;
        FirstFind found(find.startSector, sectorSize_, std::min(left_, perFile_));
        ScanRequest request;
        request.range = {find.startSector, medium_.SectorCount() - find.startSector};
        request.blockSectors = blockBytes / sectorSize_;
        request.types = {find.type};
        request.caps = {{find.type, highCap}};
        ScanRange(medium_, request, found);
        left_ -= found.bytes;
        return uncapped_[{find.startSector, find.type}] = std::max(found.size.value_or(0), find.size);
    }

    Finding ReportedFinding(const Find& find, const char* unexaminedWhy) {
        const std::int64_t limit = BytesFrom(find.startSector);
        Finding finding;
        finding.type = find.type;
        finding.verdict = Verdict::Open;
        finding.size = find.size;
        const bool isExact =
            FileTypeCatalog[find.type].reportedSize == SizeExactness::Exact && unexaminedWhy == nullptr;
        finding.why = "size as the scanner estimates it";
        if (find.size < 0) {
            return NoFileBecause("its size is negative");
        }
        if (find.size == 0) {
            const std::int64_t largest = FileTypeCatalog[find.type].largestSize;
            if (largest == 0) {
                return NoFileBecause("its size is unknown");
            }
            const auto next = std::ranges::upper_bound(neighbours_.starts, find.startSector);
            const std::int64_t end = next == neighbours_.starts.end() ? limit : ByteOf(*next - find.startSector);
            finding.size = std::min({end, largest, limit});
            finding.why = "it ends where the next file begins at the latest";
        } else if (isExact) {
            finding.verdict = Verdict::Whole;
            finding.size = SizeWithoutCap(find);
            finding.why = "the scanner has walked its structure";
        }
        if (unexaminedWhy != nullptr) {
            finding.why = unexaminedWhy;
        }
        if (finding.size > limit) {
            finding.size = limit;
            finding.verdict = Verdict::Truncated;
            finding.why = "it goes on behind the medium's end";
        }
        return finding;
    }

    // Of the finds that no validator judges, the one that is believed most.
    std::optional<Judgement> Reported(const Spot& spot, const Judgement* answer, bool isUnexamined) {
        std::optional<Judgement> best;
        const bool judgesAll = answer != nullptr && answer->validator != Nobody &&
                               request_.validators[static_cast<std::size_t>(answer->validator)]->types.empty();
        for (const Find& find : FindsAt(spot)) {
            if (!isUnexamined && (judgesAll || PhaseOfType(find.type))) {
                continue;
            }
            Finding finding = ReportedFinding(find, isUnexamined ? UnexaminedWhy : nullptr);
            const auto order = [](const Finding& one) {
                return std::tuple(one.verdict, GeneralityOf(one.type), one.type);
            };
            if (!best || order(finding) < order(best->finding)) {
                best = Judgement{std::move(finding), Nobody};
            }
        }
        return best;
    }

    // ---- What is true of a spot.

    // Nothing where no file of a binary format is seen and no find says so.
    std::optional<Judgement> Judge(std::size_t index, Phase upTo, int exceptFor = Nobody) {
        const Spot& spot = spots_[index];
        if (!IsOnMedium(spot.sector)) {
            return Judgement{NoFileBecause(OutsideWhy), Nobody};
        }
        // Copied, since the next answer may move this one.
        std::optional<Judgement> best;
        bool isUnexamined = false;
        for (const Phase phase : {Phase::Structure, Phase::Bounded}) {
            if (phase > upTo || (best && best->finding.verdict == Verdict::Whole)) {
                break;
            }
            const Judgement* const answer = AskOnce(index, phase, exceptFor);
            if (answer != nullptr && IsUnexamined(answer->finding)) {
                isUnexamined = true;
            } else if (answer != nullptr && (!best || answer->finding.verdict < best->finding.verdict)) {
                best = *answer;
            }
        }
        if (spot.findCount > 0 && !(best && best->finding.verdict == Verdict::Whole)) {
            auto reported = Reported(spot, best ? &*best : nullptr, isUnexamined);
            if (reported && (!best || reported->finding.verdict < best->finding.verdict)) {
                best = std::move(reported);
            }
        }
        if (!best || (spot.findCount == 0 && !CountsAsStart(best->finding))) {
            return std::nullopt;
        }
        Doubt(spot, best->finding);
        return best;
    }

    static bool CountsAsStart(const Finding& finding) {
        return finding.verdict == Verdict::Whole ||
               (finding.verdict == Verdict::Open && finding.size >= LeastOpenStart);
    }

    // What a validator cannot know.
    void Doubt(const Spot& spot, Finding& finding) {
        if (finding.verdict != Verdict::Whole && finding.verdict != Verdict::Open) {
            return;
        }
        if (HoldsUnreadable(spot.sector, finding.size)) {
            finding.verdict = Verdict::Damaged;
            finding.why = UnreadableWhy;
        } else if (spot.isCrossed && finding.verdict == Verdict::Whole) {
            finding.verdict = Verdict::Damaged;
            finding.why = IsCredulous(finding.type) ? "another whole file begins inside it"
                                                    : "another whole file begins inside and ends behind it";
        }
    }

    bool HoldsUnreadable(std::int64_t sector, std::int64_t size) const {
        const SectorRange range{sector, (size + sectorSize_ - 1) / sectorSize_};
        return unreadable_.Intersects(range) || medium_.HoldsUnreadable(range);
    }

    // Could what lies inside a whole file show that it is none?
    bool MayUnmask(const Spot& spot, const Cover& whole) const {
        return IsCredulous(judgements_[whole.spot].finding.type) ||
               std::ranges::any_of(FindsAt(spot), [&](const Find& find) {
                   return PhaseOfType(find.type) != Phase::Text && GeneralityOf(find.type) < 2 &&
                          (find.size <= 0 || find.size > whole.end - ByteOf(find.startSector));
               });
    }

    // ---- The walks over all spots.

    bool HasPhase(Phase phase) const {
        return std::ranges::any_of(request_.validators, [phase](const Validator* one) { return one->phase == phase; });
    }

    // False if the observer stops it.
    bool Walk(Phase upTo) {
        if (upTo != Phase::Structure && !HasPhase(upTo)) {
            return true;
        }
        Cover whole;
        Cover open;
        // Each time a file is unmasked as crossed, what it hid is looked at again.
        std::int64_t stepsLeft = static_cast<std::int64_t>(spots_.size()) * 64 + 0x10000;
        for (std::size_t i = 0; i < spots_.size(); ++i, --stepsLeft) {
            const std::int64_t byte = ByteOf(std::clamp<std::int64_t>(spots_[i].sector, 0, medium_.SectorCount()));
            if (observer_.OnPlace(upTo, byte)) {
                return false;
            }
            if (IsOnMedium(spots_[i].sector) && whole.Holds(byte)) {
                states_[i] = State::Inside;
                if (stepsLeft > 0 && MayUnmask(spots_[i], whole) && Unmasks(i, upTo, whole)) {
                    spots_[whole.spot].isCrossed = true;
                    i = whole.spot - 1;
                    whole = {};
                    open = {};
                }
                continue;
            }
            auto judgement = JudgeInside(i, upTo, open);
            states_[i] = judgement ? State::Judged : State::Nothing;
            if (!judgement) {
                continue;
            }
            const std::int64_t end = EndOf(spots_[i].sector, judgement->finding);
            if (judgement->finding.verdict == Verdict::Whole) {
                whole = {end, i, spots_[i].sector, judgement->validator};
            } else if (IsFile(judgement->finding) && IsFollowed(judgement->validator) && end > open.end) {
                open = {end, i, spots_[i].sector, judgement->validator};
            }
            judgements_[i] = *std::move(judgement);
        }
        NoteWholes();
        return true;
    }

    // Formats of the first phase are read from start to end; what offsets of the others claim need not be theirs.
    bool IsFollowed(int validator) const {
        return validator != Nobody &&
               request_.validators[static_cast<std::size_t>(validator)]->phase == Phase::Structure;
    }

    bool Unmasks(std::size_t index, Phase upTo, const Cover& whole) {
        const auto judgement = Judge(index, upTo);
        return judgement && judgement->validator != Nobody && judgement->finding.verdict == Verdict::Whole &&
               (IsCredulous(judgements_[whole.spot].finding.type) ||
                EndOf(spots_[index].sector, judgement->finding) > whole.end);
    }

    // Inside a file whose structure was followed but has no declared end, what its own validator sees is a part of it,
    // and only a whole file is a start that no scanner has reported.
    std::optional<Judgement> JudgeInside(std::size_t index, Phase upTo, const Cover& open) {
        const Spot& spot = spots_[index];
        const bool isInside = open.validator != Nobody && open.Holds(ByteOf(spot.sector));
        auto judgement = Judge(index, upTo, isInside && spot.findCount == 0 ? open.validator : Nobody);
        if (!judgement || !isInside || judgement->finding.verdict == Verdict::Whole) {
            return judgement;
        }
        if (spot.findCount == 0) {
            return std::nullopt;
        }
        if (judgement->validator == open.validator) {
            judgement->finding = NoFileBecause(fmt::format("part of the file that begins at sector {}", open.sector));
        }
        return judgement;
    }

    void NoteWholes() {
        neighbours_.wholes.clear();
        for (std::size_t i = 0; i < spots_.size(); ++i) {
            if (states_[i] == State::Judged && judgements_[i].finding.verdict == Verdict::Whole) {
                neighbours_.wholes.push_back(spots_[i].sector);
            }
        }
    }

    // ---- Text.

    // Hands on, ascending, the sectors with which a text may begin and where nothing else was found; false if `take`
    // wants no more.
    template <class Take>
    bool ForEachTextStart(Take take) {
        std::size_t run = 0;
        std::int64_t inRun = 0;
        for (std::size_t i = 0; i <= spots_.size(); ++i) {
            const std::int64_t sector = i < spots_.size() ? spots_[i].sector : medium_.SectorCount();
            for (; run < textRuns_.size() && textRuns_[run].first + inRun < sector; ++inRun) {
                if (inRun >= textRuns_[run].count) {
                    ++run;
                    inRun = -1;
                } else if (!take(textRuns_[run].first + inRun, nullptr)) {
                    return false;
                }
            }
            if (i == spots_.size()) {
                break;
            }
            // The run's sector that is the spot's.
            if (run < textRuns_.size() && inRun < textRuns_[run].count && textRuns_[run].first + inRun == sector) {
                ++inRun;
            }
            const bool isFree =
                states_[i] == State::Nothing || (states_[i] == State::Judged && !IsFile(judgements_[i].finding));
            if (isFree && IsOnMedium(sector) && !take(sector, &spots_[i])) {
                return false;
            }
        }
        return true;
    }

    bool ReadTexts() {
        if (!HasPhase(Phase::Text)) {
            return true;
        }
        const ClusterGrid grid = FindClusterGrid(neighbours_.wholes, sectorSize_);
        std::size_t nextWhole = 0;
        std::int64_t wholeEnd = 0;
        Cover text;
        return ForEachTextStart([&](std::int64_t sector, const Spot* spot) {
            const std::int64_t byte = ByteOf(sector);
            if (observer_.OnPlace(Phase::Text, byte)) {
                return false;
            }
            for (; nextWhole < spots_.size() && spots_[nextWhole].sector < sector; ++nextWhole) {
                if (states_[nextWhole] == State::Judged && judgements_[nextWhole].finding.verdict == Verdict::Whole) {
                    wholeEnd = std::max(wholeEnd, EndOf(spots_[nextWhole].sector, judgements_[nextWhole].finding));
                }
            }
            const bool hasFind = spot != nullptr && spot->findCount > 0;
            if (IsOnMedium(sector) && byte >= wholeEnd && (hasFind || grid.Holds(sector))) {
                ReadText(sector, hasFind ? spot : nullptr, grid.Holds(sector), text);
            }
            return true;
        });
    }

    // `spot` has finds; null where only a start was seen. Between clusters only a text that ends as it should is a file
    // of its own, and inside another text one that ends behind that too.
    void ReadText(std::int64_t sector, const Spot* spot, bool isOnGrid, Cover& text) {
        const bool isInside = text.Holds(ByteOf(sector));
        auto answer = Ask(sector, Phase::Text, isInside || !isOnGrid ? AllowanceInsideText : perFile_);
        if (!answer || (spot == nullptr && (!IsFile(answer->finding) || IsUnexamined(answer->finding)))) {
            return;
        }
        const bool isWhole = answer->finding.verdict == Verdict::Whole;
        const bool isPart = isInside && (!isWhole || EndOf(sector, answer->finding) <= text.end);
        if (isPart || (!isOnGrid && !isWhole)) {
            if (spot == nullptr) {
                return;
            }
            answer->finding = isInside
                                  ? NoFileBecause(fmt::format("part of the text that begins at sector {}", text.sector))
                                  : NoFileBecause("it begins in the middle of a cluster");
        } else if (IsUnexamined(answer->finding)) {
            *answer = *Reported(*spot, nullptr, true);
        }
        Doubt(Spot{sector}, answer->finding);
        if (IsFile(answer->finding) && EndOf(sector, answer->finding) > text.end) {
            text = {EndOf(sector, answer->finding), 0, sector, answer->validator};
        }
        texts_.push_back({sector, {}, {}});
        texts_.back().finding = std::move(answer->finding);
    }

    // ---- The outcomes.

    // What is known of a find inside a whole file: what was found out by the way, or what the scanner says.
    Finding FindingInside(std::size_t index) {
        for (const Phase phase : {Phase::Structure, Phase::Bounded}) {
            const std::int32_t slot = asked_[2 * index + (phase == Phase::Bounded ? 1 : 0)];
            if (slot >= 0 && CountsAsStart(answers_[static_cast<std::size_t>(slot)].finding) &&
                !IsUnexamined(answers_[static_cast<std::size_t>(slot)].finding)) {
                Finding finding = answers_[static_cast<std::size_t>(slot)].finding;
                Doubt(spots_[index], finding);
                return finding;
            }
        }
        const Spot& spot = spots_[index];
        auto reported = spot.findCount == 0 ? std::nullopt : Reported(spot, nullptr, true);
        if (!reported) {
            return {};
        }
        reported->finding.why = "begins in a whole file; size as the scanner reports it";
        return reported->finding;
    }

    void TakeOutcomes(std::vector<Outcome>& outcomes) {
        std::size_t text = 0;
        const auto takeTextsUpTo = [&](std::int64_t sector) {
            for (; text < texts_.size() && texts_[text].startSector < sector; ++text) {
                outcomes.push_back(std::move(texts_[text]));
            }
        };
        for (std::size_t i = 0; i < spots_.size(); ++i) {
            const Spot& spot = spots_[i];
            takeTextsUpTo(spot.sector);
            Outcome outcome;
            outcome.startSector = spot.sector;
            if (text < texts_.size() && texts_[text].startSector == spot.sector) {
                outcome.finding = std::move(texts_[text++].finding);
            } else if (states_[i] == State::Judged) {
                outcome.finding = std::move(judgements_[i].finding);
            } else if (states_[i] == State::Inside) {
                outcome.finding = FindingInside(i);
            } else {
                outcome.finding = NoFileBecause("it does not begin like one");
            }
            if (spot.findCount == 0 && !IsFile(outcome.finding)) {
                continue;
            }
            for (const Find& find : FindsAt(spot)) {
                outcome.reported.push_back({find.type, find.size});
            }
            if (!IsFile(outcome.finding) && spot.findCount > 0) {
                outcome.finding.type = LeastGeneralType(spot);
                outcome.finding.size = 0;
            }
            outcomes.push_back(std::move(outcome));
        }
        takeTextsUpTo(std::numeric_limits<std::int64_t>::max());
    }

    static constexpr std::int32_t NotAsked = -2;
    static constexpr std::int32_t NoAnswer = -1;

    Medium& medium_;
    std::int64_t sectorSize_;
    const ValidateRequest& request_;
    ValidateObserver& observer_;
    // What the run may still read, and what may be read for one file; in bytes.
    std::int64_t left_;
    std::int64_t perFile_;
    SectorRangeSet unreadable_;
    // The phase of the validator that judges a type's finds.
    std::array<std::optional<Phase>, FileTypeCount> coveringPhase_{};
    std::unordered_map<std::uint64_t, const KnownFinding*> known_;
    // By start, type and size.
    std::vector<Find> finds_;
    std::vector<SectorRange> textRuns_;
    std::vector<Spot> spots_;
    Neighbours neighbours_;
    // Two a spot, for its two phases: an index of `answers_`.
    std::vector<std::int32_t> asked_;
    std::vector<Judgement> answers_;
    std::map<std::pair<std::int64_t, std::int32_t>, std::int64_t> uncapped_;
    std::vector<State> states_;
    // Of the spots that are judged.
    std::vector<Judgement> judgements_;
    std::vector<Outcome> texts_;
};

}  // namespace

std::string ExtensionOf(const Finding& finding) {
    return finding.extension.empty() ? FileTypeCatalog[finding.type].extension : finding.extension;
}

Validation ValidateFinds(Medium& medium, const Sightings& seen, const ValidateRequest& request,
                         ValidateObserver& observer) {
    return FindsValidator(medium, seen, request, observer).Run();
}

}  // namespace salvor
