#include "host/validate/witnesses.h"

#include <algorithm>
#include <limits>
#include <tuple>
#include <utility>
#include <vector>

#include "host/scan/first_find.h"
#include "host/validators/finding_at.h"
#include "host/validators/hole_of_zeros.h"
#include "host/validators/pdf_end.h"
#include "host/validators/pdf_streams.h"

namespace salvor {

namespace {

using Phase = Validator::Phase;

constexpr int Nobody = Judgement::Nobody;

// The bytes that `Validator::begins` gets.
constexpr std::int64_t HeadBytes = 4096;

constexpr const char* UnexaminedWhy = "size as the scanner reports it; finding out more would take too much reading";

// The finding of a validator that used up its allowance; then the scanners' claims decide.
const Finding& Unexamined() {
    static const Finding finding{.verdict = Verdict::Open, .why = UnexaminedWhy};
    return finding;
}

// A finding that breaks the contract counts as no file.
Finding Checked(Finding finding, std::int64_t limit) {
    const bool isType = finding.type >= 0 && finding.type < FileTypeCount;
    if (IsFile(finding) && (!isType || finding.size <= 0 || finding.size > limit)) {
        return NoFileBecause("nothing of it is there");
    }
    return finding;
}

// Files do not share bytes, but failed attempts read the same bytes again.
std::int64_t AllowanceOf(const Medium& medium, std::int64_t times) {
    constexpr std::int64_t least = std::int64_t{64} << 20;
    return least + std::min(medium.SizeInBytes(), std::numeric_limits<std::int64_t>::max() / 16) * times;
}

// Passes on how far a validator's walk is, and where it was when an earlier run was stopped.
class AskedWalk final : public WalkNotes {
public:
    AskedWalk(WalkPlace place, const KnownWalks& known, ReadAllowance& allowance, ValidateObserver& observer)
        : place_(std::move(place)),
          known_(known),
          allowance_(allowance),
          given_(allowance.Left()),
          observer_(observer) {}

    std::vector<std::int64_t> Last() override {
        const auto last = known_.find(place_);
        if (last == known_.end() || last->second.cost < 0 || last->second.cost > allowance_.Left()) {
            return {};
        }
        allowance_.Take(last->second.cost);
        return last->second.fields;
    }
    bool AreDue() override { return observer_.WantsWalk(); }
    void Take(std::vector<std::int64_t> note) override {
        observer_.OnWalk(place_, {given_ - allowance_.Left(), std::move(note)});
    }

private:
    WalkPlace place_;
    const KnownWalks& known_;
    ReadAllowance& allowance_;
    std::int64_t given_;
    ValidateObserver& observer_;
};

}  // namespace

Witnesses::Witnesses(Medium& medium, const Spots& spots, const Neighbours& neighbours, const ValidateRequest& request,
                     ValidateObserver& observer)
    : medium_(medium),
      spots_(spots),
      neighbours_(neighbours),
      request_(request),
      observer_(observer),
      left_(AllowanceOf(medium, 8)),
      perFile_(AllowanceOf(medium, 2)) {
    for (const Validator* const validator : request.validators) {
        for (const std::int32_t type : validator->types) {
            coveringPhase_[static_cast<std::size_t>(type)] = validator->phase;
        }
    }
    for (const SetAside& one : request.setAside) {
        setAside_.emplace(one.sector, one.who);
    }
}

// The most trusted answer of a phase's validators for a place; nothing if none of them accepts its start. `exceptFor`
// is not asked.
std::optional<Judgement> Witnesses::Ask(std::int64_t sector, Phase phase, std::int64_t most, int exceptFor) {
    if (const auto known = request_.known.AtPlace(sector, phase, mustBeWhole_)) {
        const int validator = IndexOf(known->validator);
        // The earlier run may have asked more validators, with a larger allowance. Where only a whole file counted,
        // the answer may have used up its allowance, and then holds for no other one.
        const bool isEnough = mustBeWhole_ ? HasAllOf(most, known->cost) : std::min(left_, most) >= known->cost;
        if (validator != Nobody && validator != exceptFor && left_ > 0 && isEnough) {
            left_ -= known->cost;
            return Judgement{known->finding, validator};
        }
    }
    if (left_ <= 0) {
        return Judgement{Unexamined(), Nobody};
    }
    if (IsKnownAsRefused(sector, phase, most) || IsRefusedAgain(sector, phase, most)) {
        return std::nullopt;
    }
    const std::int64_t before = left_;
    std::optional<Judgement> best = AskAnew(sector, phase, most, exceptFor);
    // Which validators are asked, and how much they may read, depends on the files around a place.
    const bool isForAll = exceptFor == Nobody && (mustBeWhole_ ? HasAllOf(most, 0) : !isUsedUp_);
    if (best && !medium_.IsInterrupted() && (isForAll || !isPart_)) {
        observer_.OnFinding({sector, phase,
                             std::string(request_.validators[static_cast<std::size_t>(best->validator)]->name),
                             best->finding, before - left_, mustBeWhole_});
    }
    if (!best && exceptFor == Nobody && head_.sector == sector) {
        observer_.OnRefused(sector, phase);
    }
    return best;
}

bool Witnesses::HasAllOf(std::int64_t most, std::int64_t cost) const {
    return perFile_ >= most && left_ - cost >= most;
}

std::optional<Judgement> Witnesses::AskForWholeText(std::int64_t sector, std::int64_t most) {
    mustBeWhole_ = true;
    auto answer = Ask(sector, Phase::Text, most);
    mustBeWhole_ = false;
    return answer;
}

// What a validator that accepts the first bytes of a place finds there; it reads `most` bytes or fewer.
Finding Witnesses::Follow(const Validator& validator, std::int64_t sector, Place& place, ReadAllowance& allowance,
                          std::int64_t most) {
    if (mustBeWhole_ && !validator.mayBeWhole) {
        isUsedUp_ = true;
        return Unexamined();
    }
    allowance = ReadAllowance(std::min(left_, most));
    const std::int64_t before = allowance.Left();
    // Later phases depend on the whole files, which a stopped run need not have known.
    AskedWalk walk({sector, std::string(validator.name)}, request_.walks, allowance, observer_);
    place.SetNotes(validator.phase == Phase::Structure ? &walk : nullptr);
    const Finding finding = Checked(FindingAt(validator, place), place.Limit());
    place.SetNotes(nullptr);
    left_ -= before - allowance.Left();
    isUsedUp_ = isUsedUp_ || allowance.IsUsedUp();
    return allowance.IsUsedUp() ? Unexamined() : finding;
}

std::optional<Judgement> Witnesses::AskAnew(std::int64_t sector, Phase phase, std::int64_t most, int exceptFor) {
    const std::int64_t given = std::min({left_, perFile_, most});
    ReadAllowance allowance(given);
    Place place(medium_, sector, neighbours_, allowance);
    ReadHead(sector, given);
    left_ -= head_.cost;
    bool isLoaded = head_.sector != sector;
    std::optional<Judgement> best;
    isUsedUp_ = false;
    for (std::size_t i = 0; i < request_.validators.size(); ++i) {
        const Validator& validator = *request_.validators[i];
        if (validator.phase != phase || static_cast<int>(i) == exceptFor) {
            continue;
        }
        Finding finding = Unexamined();
        if (MayAsk(sector, static_cast<std::int32_t>(i))) {
            if (!validator.begins(head_.bytes)) {
                continue;
            }
            if (!std::exchange(isLoaded, true)) {
                // Paid for with the head.
                place.From(0);
            }
            finding = Follow(validator, sector, place, allowance, given);
        }
        if (!best || finding.verdict < best->finding.verdict) {
            best = Judgement{finding, static_cast<int>(i)};
        }
    }
    return best;
}

// What a place reads at once.
std::int64_t Witnesses::CostOfHead(std::int64_t sector) const {
    const std::int64_t sectorSize = medium_.SectorSize();
    const auto most = static_cast<std::int64_t>(ByteWindow::PieceBytes);
    const std::int64_t bytes = std::min(most, medium_.SizeInBytes() - sector * sectorSize);
    return (bytes + sectorSize - 1) / sectorSize * sectorSize;
}

// Fewer bytes than it costs: most places are refused after these.
void Witnesses::ReadHead(std::int64_t sector, std::int64_t given) {
    const std::int64_t sectorSize = medium_.SectorSize();
    const std::int64_t cost = CostOfHead(sector);
    const std::int64_t length =
        cost <= given ? std::min(HeadBytes, medium_.SizeInBytes() - sector * sectorSize) : std::int64_t{0};
    const std::int64_t sectors = (length + sectorSize - 1) / sectorSize;
    head_.bytes.resize(static_cast<std::size_t>(sectors * sectorSize));
    medium_.Read(sector, head_.bytes.data(), sectors);
    head_.bytes.resize(static_cast<std::size_t>(length));
    head_.sector = length > 0 && !medium_.IsInterrupted() ? sector : NoSector;
    head_.cost = std::min(cost, given);
}

bool Witnesses::IsKnownAsRefused(std::int64_t sector, Phase phase, std::int64_t most) {
    if (!request_.known.IsRefused(sector, phase)) {
        return false;
    }
    const auto aside = setAside_.lower_bound({sector, std::string()});
    const std::int64_t cost = CostOfHead(sector);
    if ((aside != setAside_.end() && aside->first == sector) || cost > std::min({left_, perFile_, most})) {
        return false;
    }
    left_ -= cost;
    return true;
}

bool Witnesses::IsRefusedAgain(std::int64_t sector, Phase phase, std::int64_t most) {
    if (head_.sector != sector || head_.cost > std::min({left_, perFile_, most})) {
        return false;
    }
    for (std::size_t i = 0; i < request_.validators.size(); ++i) {
        const Validator& validator = *request_.validators[i];
        if (validator.phase == phase &&
            (!MayAsk(sector, static_cast<std::int32_t>(i)) || validator.begins(head_.bytes))) {
            return false;
        }
    }
    left_ -= head_.cost;
    return true;
}

bool Witnesses::MayAsk(std::int64_t sector, std::int32_t asked) {
    if (!setAside_.empty() && setAside_.contains({sector, NameOfAsked(request_.validators, asked)})) {
        return false;
    }
    observer_.OnAsk(sector, asked);
    return true;
}

int Witnesses::IndexOf(const std::string& name) const {
    const auto found = std::ranges::find(request_.validators, name, [](const Validator* one) { return one->name; });
    return found == request_.validators.end() ? Nobody : static_cast<int>(found - request_.validators.begin());
}

// For a find that has reached its scanner's cap: the size that the scanner finds without the cap.
std::int64_t Witnesses::SizeWithoutCap(const Find& find) {
    const std::int64_t cap = FileTypeCatalog[find.type].maxSize;
    if (cap <= 0 || find.size < cap || request_.caps.contains(find.type)) {
        return find.size;
    }
    const auto known = uncapped_.find({find.startSector, find.type});
    if (known != uncapped_.end()) {
        return known->second;
    }
    if (!MayAsk(find.startSector, static_cast<std::int32_t>(request_.validators.size()) + find.type)) {
        return find.size;
    }
    constexpr std::int64_t highCap = std::int64_t{1} << 37;
    const FirstFound found =
        FirstFindAt(medium_, {find.startSector, {find.type}, {{find.type, highCap}}, std::min(left_, perFile_)});
    left_ -= found.bytes;
    return uncapped_[{find.startSector, find.type}] = std::max(found.find ? found.find->size : 0, find.size);
}

// Scanners include white space in the document even if it may belong to another file, and follow its objects without
// asking where its cross-reference is or whether a part is missing. They take every PDF with parts of a drawing for
// one.
void Witnesses::JudgePdf(std::int64_t sector, Finding& finding) {
    const std::int64_t given = std::min(left_, perFile_);
    ReadAllowance allowance(given);
    Place place(medium_, sector, neighbours_, allowance);
    if (finding.type == FileTypeIndex::Ai && !IsSavedAsDrawing(place, finding.size)) {
        finding.type = FileTypeIndex::Pdf;
    }
    if (finding.size <= place.Limit() && !LeadsToCrossReference(place, finding.size)) {
        finding.verdict = Verdict::Open;
        finding.why = "its last offset leads to no cross-reference";
    } else if (finding.size <= place.Limit() && HasHoleOfZeros(place, 0, finding.size) &&
               !DoStreamsUnpack(place, finding.size)) {
        // To unpack every document would take longer than all else.
        finding.verdict = Verdict::Damaged;
        finding.why = "a stream does not unpack";
    }
    if (finding.size < place.Limit()) {
        finding.size = EndOfPdf(place, finding.size);
    }
    left_ -= given - allowance.Left();
}

Finding Witnesses::ReportedFinding(const Find& find, const char* unexaminedWhy) {
    const std::int64_t limit = medium_.SizeInBytes() - find.startSector * medium_.SectorSize();
    Finding finding;
    finding.type = find.type;
    finding.verdict = Verdict::Open;
    finding.size = find.size;
    const bool isExact = FileTypeCatalog[find.type].reportedSize == SizeExactness::Exact && unexaminedWhy == nullptr;
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
        const std::int64_t end =
            next == neighbours_.starts.end() ? limit : (*next - find.startSector) * medium_.SectorSize();
        finding.size = std::min({end, largest, limit});
        finding.why = "it ends where the next file begins at the latest";
    } else if (isExact) {
        finding.verdict = Verdict::Whole;
        finding.size = SizeWithoutCap(find);
        finding.why = "the scanner has walked its structure";
        if (find.type == FileTypeIndex::Pdf || find.type == FileTypeIndex::Ai) {
            JudgePdf(find.startSector, finding);
        }
    }
    if (unexaminedWhy != nullptr) {
        finding.why = unexaminedWhy;
    }
    if (finding.size > limit) {
        finding.size = limit;
        finding.verdict = Verdict::Truncated;
        finding.why = "it goes on past the medium's end";
    }
    return finding;
}

// The most trusted of the finds that are not for a validator to judge.
std::optional<Judgement> Witnesses::Reported(const Spot& spot, const Judgement* answer, bool isUnexamined) {
    std::optional<Judgement> best;
    const bool judgesAll = answer != nullptr && answer->validator != Nobody &&
                           request_.validators[static_cast<std::size_t>(answer->validator)]->types.empty();
    for (const Find& find : spots_.FindsAt(spot)) {
        if (!isUnexamined && (judgesAll || PhaseOfType(find.type))) {
            continue;
        }
        Finding finding = ReportedFinding(find, isUnexamined ? UnexaminedWhy : nullptr);
        const auto order = [](const Finding& one) {
            return std::tuple(one.verdict, GeneralityOf(one.type), one.type);
        };
        if (!best || order(finding) < order(best->finding)) {
            best = Judgement{finding, Nobody};
        }
    }
    return best;
}

}  // namespace salvor
