#include "host/validate/validate_finds.h"

#include <FileTypeCatalog.h>
#include <fmt/format.h>

#include <algorithm>
#include <limits>
#include <optional>
#include <span>
#include <utility>

#include "host/validate/contradiction.h"
#include "host/validate/judgements.h"
#include "host/validate/spots.h"
#include "host/validate/witnesses.h"
#include "host/validators/text/text_starts.h"

namespace salvor {

namespace {

using Phase = Validator::Phase;

// A start that no scanner reports needs this much unbroken structure to become a file without a declared end.
constexpr std::int64_t LeastOpenStart = 4096;
// How much may be read for a place that is probably part of the text around it.
constexpr std::int64_t AllowanceInsideText = std::int64_t{256} << 10;
constexpr int Nobody = Judgement::Nobody;

constexpr const char* OutsideWhy = "it starts outside the medium";

// Any part of a file of these types looks like the start of another one: packets or frames follow each other.
bool IsStream(std::int32_t type) {
    return type == FileTypeIndex::Mp3 || type == FileTypeIndex::Mts || type == FileTypeIndex::Vob;
}

// A range that a file claims. Inside it, nothing is looked for, or less.
struct Cover {
    std::int64_t end = 0;
    std::size_t spot = 0;
    std::int64_t sector = 0;
    int validator = Nobody;
    bool Holds(std::int64_t byte) const { return byte < end; }
};

class FindsValidator {
public:
    FindsValidator(Medium& medium, Sightings seen, ValidateRequest request, ValidateObserver& observer)
        : medium_(medium),
          sectorSize_(medium.SectorSize()),
          request_(std::move(request)),
          validators_(request_.validators),
          observer_(observer),
          spots_(medium, std::move(seen.finds), std::move(seen.starts)),
          neighbours_{.starts = spots_.Starts(), .wholes = {}},
          witnesses_(medium, spots_, neighbours_, request_, observer),
          unreadable_(OnMedium(seen.unreadable)),
          textRuns_(OnMedium(seen.textStarts).Ranges()),
          judgements_(spots_.Count()) {
        request_.known.Sort();
    }

    Validation Run(const std::function<void(Outcome)>& take) {
        Validation result;
        const bool isDone = DoPhase(Phase::Structure) && DoPhase(Phase::Bounded) && DoPhase(Phase::Text);
        result.complete = isDone && !request_.ahead && !medium_.IsInterrupted();
        if (result.complete) {
            TakeOutcomes(take);
        }
        return result;
    }

private:
    // False if later phases are not wanted, or if the observer stopped it.
    bool DoPhase(Phase phase) {
        // Finds may lie outside the medium.
        constexpr SectorRange all{std::numeric_limits<std::int64_t>::min() / 2,
                                  std::numeric_limits<std::int64_t>::max()};
        const bool isPart = request_.ahead && request_.phase == phase;
        witnesses_.SeePartOnly(isPart);
        const SectorRange range = isPart ? *request_.ahead : all;
        return (phase == Phase::Text ? ReadTexts(range) : Walk(phase, range)) && !isPart;
    }

    // The parts of the ranges that lie on the medium.
    SectorRangeSet OnMedium(const std::vector<SectorRange>& ranges) const {
        SectorRangeSet set;
        for (const SectorRange& range : ranges) {
            if (spots_.IsOnMedium(range.first) && range.count > 0) {
                set.Add({range.first, std::min(range.count, medium_.SectorCount() - range.first)});
            }
        }
        return set;
    }
    std::int64_t ByteOf(std::int64_t sector) const { return sector * sectorSize_; }
    std::int64_t EndOf(std::int64_t sector, const Finding& finding) const { return ByteOf(sector) + finding.size; }

    // The answer of a phase's validators for a spot; each is asked only once.
    std::optional<Judgement> AskOnce(std::size_t index, Phase phase, int exceptFor) {
        if (!judgements_.HasAsked(index, phase)) {
            const std::int64_t most = witnesses_.AllowanceOfAFile();
            judgements_.KeepAnswer(index, phase, witnesses_.Ask(spots_.SectorOf(index), phase, most, exceptFor));
        }
        return judgements_.AnswerFor(index, phase);
    }

    // ---- What is at a spot.

    // Nothing if neither a validator nor a find has a file of a binary format there.
    std::optional<Judgement> Judge(std::size_t index, Phase upTo, int exceptFor = Nobody) {
        const Spot spot = spots_[index];
        if (!spots_.IsOnMedium(spot.sector)) {
            return Judgement{NoFileBecause(OutsideWhy), Nobody};
        }
        std::optional<Judgement> best;
        bool isUnexamined = false;
        for (const Phase phase : {Phase::Structure, Phase::Bounded}) {
            if (phase > upTo || (best && best->finding.verdict == Verdict::Whole)) {
                break;
            }
            const std::optional<Judgement> answer = AskOnce(index, phase, exceptFor);
            if (answer && IsUnexamined(answer->finding)) {
                isUnexamined = true;
            } else if (answer && (!best || answer->finding.verdict < best->finding.verdict)) {
                best = answer;
            }
        }
        if (spot.findCount > 0 && !(best && best->finding.verdict == Verdict::Whole)) {
            auto reported = witnesses_.Reported(spot, best ? &*best : nullptr, isUnexamined);
            if (reported && (!best || reported->finding.verdict < best->finding.verdict)) {
                best = reported;
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
               (finding.verdict == Verdict::Open && (finding.size >= LeastOpenStart || finding.isCertain));
    }

    // Lowers a verdict for reasons that a validator cannot see.
    void Doubt(const Spot& spot, Finding& finding) {
        if (finding.verdict != Verdict::Whole && finding.verdict != Verdict::Open) {
            return;
        }
        if (HoldsUnreadable(spot.sector, finding.size)) {
            finding = WithUnreadableBytes(finding);
        } else if (spot.isCrossed && finding.verdict == Verdict::Whole) {
            finding.verdict = Verdict::Damaged;
            finding.why = Contradiction::MayBeFound(finding.type)
                              ? "another file begins inside it"
                              : "another whole file begins inside and ends after it";
        }
    }

    bool HoldsUnreadable(std::int64_t sector, std::int64_t size) const {
        const SectorRange range{sector, (size + sectorSize_ - 1) / sectorSize_};
        return unreadable_.Intersects(range) || medium_.HoldsUnreadable(range);
    }

    // True if this spot, inside a whole file, could prove that the file is not whole.
    bool MayUnmask(const Spot& spot, const Cover& whole) const {
        return Contradiction::MayBeFound(judgements_.Of(whole.spot).finding.type) ||
               std::ranges::any_of(spots_.FindsAt(spot), [&](const Find& find) {
                   return witnesses_.PhaseOfType(find.type) != Phase::Text && GeneralityOf(find.type) < MostGeneral &&
                          (find.size <= 0 || find.size > whole.end - ByteOf(find.startSector));
               });
    }

    // ---- The walks over all spots.

    bool HasPhase(Phase phase) const {
        return std::ranges::any_of(validators_, [phase](const Validator* one) { return one->phase == phase; });
    }

    // False if the observer stopped it.
    bool Walk(Phase upTo, SectorRange range) {
        if (upTo != Phase::Structure && !HasPhase(upTo)) {
            return true;
        }
        Cover whole = upTo == Phase::Structure ? Cover() : WholeAcross(range.first);
        Cover open;
        // Each time a claim turns out wrong, what it hid is looked at again.
        std::int64_t stepsLeft = static_cast<std::int64_t>(spots_.Count()) * 64 + 0x10000;
        for (std::size_t i = spots_.IndexFrom(range.first);
             i < spots_.Count() && spots_.SectorOf(i) - range.first < range.count; ++i, --stepsLeft) {
            const std::int64_t byte = ByteOf(std::clamp<std::int64_t>(spots_.SectorOf(i), 0, medium_.SectorCount()));
            if (observer_.OnPlace(upTo, byte)) {
                return false;
            }
            if (spots_.IsOnMedium(spots_.SectorOf(i)) && whole.Holds(byte)) {
                judgements_.SetState(i, SpotState::Inside);
                if (stepsLeft > 0 && MayUnmask(spots_[i], whole) && Unmasks(i, upTo, whole)) {
                    spots_.Cross(whole.spot);
                    i = whole.spot - 1;
                    whole = {};
                    open = {};
                }
                continue;
            }
            auto judgement = JudgeInside(i, upTo, open);
            if (!judgement) {
                judgements_.SetState(i, SpotState::Nothing);
                continue;
            }
            const std::int64_t end = EndOf(spots_.SectorOf(i), judgement->finding);
            if (judgement->finding.verdict == Verdict::Whole) {
                open = EndsAtWhole(open, end) ? Cover() : open;
                whole = {end, i, spots_.SectorOf(i), judgement->validator};
            } else if (IsFile(judgement->finding) && IsFollowed(judgement->validator) && end > open.end &&
                       !spots_[i].isCrossed) {
                open = {end, i, spots_.SectorOf(i), judgement->validator};
            }
            judgements_.Judge(i, *judgement);
        }
        NoteWholes();
        return true;
    }

    // The whole file that covers a sector, as far as known.
    Cover WholeAcross(std::int64_t sector) const {
        Cover whole;
        for (std::size_t i = 0; i < spots_.Count() && spots_.SectorOf(i) < sector; ++i) {
            if (judgements_.IsWhole(i)) {
                whole = {EndOf(spots_.SectorOf(i), judgements_.Of(i).finding), i, spots_.SectorOf(i),
                         judgements_.Of(i).validator};
            }
        }
        return whole;
    }

    // Formats of the first phase are read from start to end; offsets in other formats may claim foreign bytes.
    bool IsFollowed(int validator) const {
        return validator != Nobody && validators_[static_cast<std::size_t>(validator)]->phase == Phase::Structure;
    }

    bool Unmasks(std::size_t index, Phase upTo, const Cover& whole) {
        const auto judgement = Judge(index, upTo);
        return judgement && judgement->validator != Nobody &&
               Contradiction::Proves(judgement->finding, judgements_.Of(whole.spot).finding,
                                     EndOf(spots_.SectorOf(index), judgement->finding) > whole.end);
    }

    // A file that lost its end claims as much as a length in it says. A damaged one may claim the bytes of others too:
    // signatures of its own format as long as these do not occur by chance.
    bool MayHideOthers(const Cover& open) const {
        constexpr std::size_t certain = 8;
        const Finding claim = judgements_.Of(open.spot).finding;
        if (claim.verdict == Verdict::Truncated) {
            return !IsStream(claim.type);
        }
        const Validator& validator = *validators_[static_cast<std::size_t>(open.validator)];
        return claim.verdict == Verdict::Damaged && !validator.starts.empty() &&
               std::ranges::all_of(validator.starts, [](const StartSignature& start) {
                   return start.bytes.size() >= certain && start.mask.empty();
               });
    }

    // A claim that is not whole ends where a whole file begins, unless it was followed past that one's end.
    bool EndsAtWhole(const Cover& open, std::int64_t wholeEnd) const {
        return open.validator != Nobody && (!judgements_.Of(open.spot).finding.isUnbroken || wholeEnd > open.end);
    }

    // Inside a file whose structure was followed but has no declared end, anything that its own validator accepts is
    // part of it. There, a start that no scanner has reported counts only if the file is whole.
    std::optional<Judgement> JudgeInside(std::size_t index, Phase upTo, const Cover& open) {
        const Spot spot = spots_[index];
        const bool isInside = open.validator != Nobody && open.Holds(ByteOf(spot.sector));
        const bool isOwnPart = isInside && spot.findCount == 0 && !MayHideOthers(open);
        auto judgement = Judge(index, upTo, isOwnPart ? open.validator : Nobody);
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
        for (std::size_t i = 0; i < spots_.Count(); ++i) {
            if (judgements_.IsWhole(i)) {
                neighbours_.wholes.push_back(spots_.SectorOf(i));
            }
        }
    }

    // In bytes.
    std::vector<std::int64_t> EndsOfWholes() const {
        std::vector<std::int64_t> ends;
        for (std::size_t i = 0; i < spots_.Count(); ++i) {
            if (judgements_.IsWhole(i)) {
                ends.push_back(EndOf(spots_.SectorOf(i), judgements_.Of(i).finding));
            }
        }
        return ends;
    }

    // ---- Text.

    // Calls `take` for the sectors at which a text may begin and nothing else was found, ascending; false if `take`
    // ends the walk.
    template <class Take>
    bool ForEachTextStart(Take take) {
        std::size_t run = 0;
        std::int64_t inRun = 0;
        for (std::size_t i = 0; i <= spots_.Count(); ++i) {
            const std::int64_t sector = i < spots_.Count() ? spots_.SectorOf(i) : medium_.SectorCount();
            for (; run < textRuns_.size() && textRuns_[run].first + inRun < sector; ++inRun) {
                if (inRun >= textRuns_[run].count) {
                    ++run;
                    inRun = -1;
                } else if (!take(textRuns_[run].first + inRun, nullptr)) {
                    return false;
                }
            }
            if (i == spots_.Count()) {
                break;
            }
            // The sector of the run at which the spot is.
            if (run < textRuns_.size() && inRun < textRuns_[run].count && textRuns_[run].first + inRun == sector) {
                ++inRun;
            }
            const bool isFree = judgements_.StateOf(i) != SpotState::Inside && !judgements_.IsFileAt(i);
            if (!isFree || !spots_.IsOnMedium(sector)) {
                continue;
            }
            const Spot spot = spots_[i];
            if (!take(sector, &spot)) {
                return false;
            }
        }
        return true;
    }

    // Looks at the texts in the range; false if the observer stopped it.
    bool ReadTexts(SectorRange range) {
        if (!HasPhase(Phase::Text)) {
            return true;
        }
        grids_ = ClusterGrids(request_.grids, neighbours_.wholes, sectorSize_);
        neighbours_.isSlackClean = IsSlackClean(medium_, EndsOfWholes(), grids_);
        TextWalk walk;
        const auto takeNextUpTo = [&](std::int64_t sector) {
            while (walk.next < sector) {
                if (!TakeTextStart(walk.next, nullptr, walk)) {
                    return false;
                }
            }
            return true;
        };
        const std::int64_t end = range.first + range.count;
        bool isStopped = false;
        ForEachTextStart([&](std::int64_t sector, const Spot* spot) {
            if (sector < range.first) {
                return true;
            }
            isStopped = !takeNextUpTo(std::min(sector, end)) || (sector < end && !TakeTextStart(sector, spot, walk));
            return !isStopped && sector < end;
        });
        return !isStopped && takeNextUpTo(std::min(end, NoSector));
    }

    // The position of the walk over the texts.
    struct TextWalk {
        std::size_t nextWhole = 0;
        std::int64_t wholeEnd = 0;
        Cover text;
        // The cluster after the last text's end, if text goes on there: what looked like one text may be two.
        std::int64_t next = NoSector;
    };

    // False if the observer stopped it.
    bool TakeTextStart(std::int64_t sector, const Spot* spot, TextWalk& walk) {
        const std::int64_t byte = ByteOf(sector);
        walk.next = NoSector;
        if (observer_.OnPlace(Phase::Text, byte)) {
            return false;
        }
        for (; walk.nextWhole < spots_.Count() && spots_.SectorOf(walk.nextWhole) < sector; ++walk.nextWhole) {
            const std::size_t whole = walk.nextWhole;
            if (judgements_.StateOf(whole) == SpotState::Judged && Covers(judgements_.Of(whole).finding)) {
                walk.wholeEnd = std::max(walk.wholeEnd, EndOf(spots_.SectorOf(whole), judgements_.Of(whole).finding));
            }
        }
        const bool hasFind = spot != nullptr && spot->findCount > 0;
        neighbours_.grid = grids_.At(sector);
        const bool isOnGrid = neighbours_.grid.Holds(sector);
        if (spots_.IsOnMedium(sector) && byte >= walk.wholeEnd && (hasFind || isOnGrid)) {
            ReadText(sector, hasFind ? spot : nullptr, isOnGrid, walk.text);
            walk.next = TextStartAfter(walk.text.end, sector);
        }
        return true;
    }

    bool IsFileAt(std::int64_t sector) const {
        const std::size_t i = spots_.IndexFrom(sector);
        return i < spots_.Count() && spots_.SectorOf(i) == sector && judgements_.IsFileAt(i);
    }

    // The first sector of the cluster after a text's end, if a text may begin there. It was not noted as a start, since
    // it seemed to be part of the text before.
    std::int64_t TextStartAfter(std::int64_t end, std::int64_t sector) {
        const std::int64_t cluster = neighbours_.grid.sectorsPerCluster;
        const std::int64_t endSector = (end + sectorSize_ - 1) / sectorSize_;
        const std::int64_t past = endSector - neighbours_.grid.phase;
        const std::int64_t next = neighbours_.grid.phase + (past + cluster - 1) / cluster * cluster;
        if (cluster == 1 || next <= sector || next >= medium_.SectorCount() || IsFileAt(next)) {
            return NoSector;
        }
        std::vector<std::uint8_t> bytes(static_cast<std::size_t>(sectorSize_));
        medium_.Read(next, bytes.data(), 1);
        return MayBeginText({}, bytes) ? next : NoSector;
    }

    // `spot` has finds; null if only a start was seen. Off the cluster grid, only a text with a proper end is a file of
    // its own; inside another text, only one that also ends after that.
    void ReadText(std::int64_t sector, const Spot* spot, bool isOnGrid, Cover& text) {
        const bool isInside = text.Holds(ByteOf(sector));
        auto answer = isInside || !isOnGrid ? witnesses_.AskForWholeText(sector, AllowanceInsideText)
                                            : witnesses_.Ask(sector, Phase::Text, witnesses_.AllowanceOfAFile());
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
            *answer = *witnesses_.Reported(*spot, nullptr, /*isUnexamined=*/true);
        }
        Doubt(Spot{sector}, answer->finding);
        if (IsFile(answer->finding) && EndOf(sector, answer->finding) > text.end) {
            text = {EndOf(sector, answer->finding), 0, sector, answer->validator};
        }
        texts_.push_back({sector, answer->finding, {}, -1, {}});
    }

    // ---- The outcomes.

    // The finding for a find inside a whole file: an earlier answer, or the scanner's claim.
    Finding FindingInside(std::size_t index) {
        for (const Phase phase : {Phase::Structure, Phase::Bounded}) {
            const std::optional<Judgement> answer = judgements_.AnswerFor(index, phase);
            Finding finding = answer ? answer->finding : Finding();
            if (CountsAsStart(finding) && !IsUnexamined(finding)) {
                Doubt(spots_[index], finding);
                return finding;
            }
        }
        const Spot spot = spots_[index];
        auto reported = spot.findCount == 0 ? std::nullopt : witnesses_.Reported(spot, nullptr, /*isUnexamined=*/true);
        if (!reported) {
            return {};
        }
        reported->finding.why = "begins in a whole file; size as the scanner reports it";
        return reported->finding;
    }

    void TakeOutcomes(const std::function<void(Outcome)>& take) {
        std::size_t text = 0;
        const auto takeTextsUpTo = [&](std::int64_t sector) {
            for (; text < texts_.size() && texts_[text].startSector < sector; ++text) {
                take(std::move(texts_[text]));
            }
        };
        for (std::size_t i = 0; i < spots_.Count(); ++i) {
            const Spot spot = spots_[i];
            takeTextsUpTo(spot.sector);
            Outcome outcome;
            outcome.startSector = spot.sector;
            if (text < texts_.size() && texts_[text].startSector == spot.sector) {
                outcome.finding = texts_[text++].finding;
            } else if (judgements_.StateOf(i) == SpotState::Judged) {
                outcome.finding = judgements_.Of(i).finding;
            } else if (judgements_.StateOf(i) == SpotState::Inside) {
                outcome.finding = FindingInside(i);
            } else {
                outcome.finding = NoFileBecause("it does not begin like one");
            }
            if (spot.findCount == 0 && !IsFile(outcome.finding)) {
                continue;
            }
            for (const Find& find : spots_.FindsAt(spot)) {
                outcome.reported.Add({find.type, find.size});
            }
            if (!IsFile(outcome.finding) && spot.findCount > 0) {
                outcome.finding.type = spots_.LeastGeneralType(spot);
                outcome.finding.size = 0;
            }
            take(std::move(outcome));
        }
        takeTextsUpTo(std::numeric_limits<std::int64_t>::max());
    }

    static constexpr std::int64_t NoSector = std::numeric_limits<std::int64_t>::max();

    Medium& medium_;
    std::int64_t sectorSize_;
    ValidateRequest request_;
    std::span<const Validator* const> validators_;
    ValidateObserver& observer_;
    Spots spots_;
    Neighbours neighbours_;
    Witnesses witnesses_;
    ClusterGrids grids_;
    SectorRangeSet unreadable_;
    std::vector<SectorRange> textRuns_;
    Judgements judgements_;
    Outcomes texts_;
};

}  // namespace

std::string NameOfAsked(std::span<const Validator* const> validators, std::int32_t asked) {
    const auto count = static_cast<std::int32_t>(validators.size());
    return asked < count ? std::string(validators[static_cast<std::size_t>(asked)]->name)
                         : fmt::format("scanner of type {}", asked - count);
}

Validation ValidateFinds(Medium& medium, const Sightings& seen, ValidateRequest request, ValidateObserver& observer) {
    Outcomes outcomes;
    Validation validation = ValidateFinds(medium, seen, std::move(request), observer,
                                          [&outcomes](Outcome outcome) { outcomes.push_back(std::move(outcome)); });
    validation.outcomes = std::move(outcomes);
    return validation;
}

Validation ValidateFinds(Medium& medium, Sightings seen, ValidateRequest request, ValidateObserver& observer,
                         const std::function<void(Outcome)>& take) {
    return FindsValidator(medium, std::move(seen), std::move(request), observer).Run(take);
}

}  // namespace salvor
