#include "host/volumes/prefer_known.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "host/validators/validator.h"

namespace salvor {

namespace {

// True if the carved file is the known one already.
bool IsSame(const KnownFile& file, const Outcome& carved) {
    return carved.finding.verdict == Verdict::Whole && carved.finding.size == file.size && file.extents.size() == 1;
}

// Calls `take` for each known file, with the index of the outcome that begins there, if there is one.
template <class Take>
void ForEachPair(const KnownFiles& files, const Outcomes& outcomes, Take take) {
    std::size_t next = 0;
    for (std::size_t i = 0; i < files.All().size(); ++i) {
        const std::int64_t start = files.All()[i].StartSector();
        while (next < outcomes.size() && outcomes[next].startSector < start) {
            ++next;
        }
        const bool isCarved = next < outcomes.size() && outcomes[next].startSector == start;
        take(static_cast<std::int32_t>(i), isCarved ? std::optional(next) : std::nullopt);
    }
}

// The claims of types that have a validator.
std::vector<ReportedClaim> ClaimsOf(const Outcome& carved) {
    std::vector<ReportedClaim> claims(carved.reported.begin(), carved.reported.end());
    std::erase_if(claims, [](const ReportedClaim& claim) { return !HasValidator(claim.type); });
    return claims;
}

bool IsInPieces(const KnownFile& file) { return file.extents.size() > 1; }

// The file system is trusted if none of the carved types has a validator.
bool IsBelieved(const Outcome& carved) {
    return carved.finding.verdict != Verdict::NoFile && !carved.reported.empty() && ClaimsOf(carved).empty();
}

Finding BelievedFinding(const KnownFile& file, Finding carved) {
    // Of a file in pieces the scanner did not see its own bytes.
    const bool isWhole = carved.verdict == Verdict::Whole && !IsInPieces(file);
    carved.verdict = isWhole ? Verdict::Whole : Verdict::Open;
    carved.size = file.size;
    carved.why = "size as the file system says";
    return carved;
}

class Comparison {
public:
    Comparison(const KnownFiles& files, const JoinedFindings& joined, std::int32_t sectorSize, Outcomes& outcomes)
        : files_(files), joined_(joined), sectorSize_(sectorSize), outcomes_(outcomes) {}

    void Run() {
        ForEachPair(files_, outcomes_, [this](std::int32_t index, std::optional<std::size_t> carved) {
            Compare(index, carved ? &outcomes_[*carved] : nullptr);
        });
        const auto carved = std::ssize(outcomes_);
        outcomes_.insert(outcomes_.end(), fresh_.begin(), fresh_.end());
        std::ranges::inplace_merge(outcomes_, outcomes_.begin() + carved, {}, &Outcome::startSector);
    }

private:
    void Compare(std::int32_t index, Outcome* carved) {
        const KnownFile& file = *files_.At(index);
        const std::int32_t known = file.isRebuilt ? -1 : index;
        if (carved != nullptr) {
            carved->known = known;
            if (file.isPacked && !file.isDeleted && carved->finding.verdict < Verdict::Damaged) {
                carved->finding.verdict = Verdict::Damaged;
                carved->finding.why = "the file system stores this file compressed or encrypted";
            }
        }
        const std::optional<Finding> found = FindingOf(index, carved);
        if (!found || (carved != nullptr && IsWorse(*found, file, carved->finding))) {
            return;
        }
        Outcome outcome;
        outcome.startSector = file.StartSector();
        outcome.finding = *found;
        outcome.known = known;
        outcome.place = SettledPlace{file.extents, found->size};
        if (!file.isRebuilt && (!file.isDeleted || IsTailFree(file, found->size))) {
            outcome.finding.size = file.size;
        }
        if (carved == nullptr) {
            fresh_.push_back(std::move(outcome));
        } else {
            outcome.reported = carved->reported;
            *carved = std::move(outcome);
        }
    }

    // True if carving is to be believed. The size of a living file is a fact, and only a declared end tells more.
    static bool IsWorse(const Finding& found, const KnownFile& file, const Finding& carved) {
        return found.verdict > carved.verdict && (file.isDeleted || carved.verdict == Verdict::Whole);
    }

    // The finding for the file's extents; nothing if they hold no file or need not be validated.
    std::optional<Finding> FindingOf(std::int32_t index, const Outcome* carved) const {
        const KnownFile& file = *files_.At(index);
        if (!files_.IsIntact(index) || (carved != nullptr && IsSame(file, *carved))) {
            return std::nullopt;
        }
        const auto found = joined_.find(index);
        if (found != joined_.end() && found->second.verdict != Verdict::NoFile) {
            return found->second;
        }
        const bool isBelieved = carved != nullptr && IsBelieved(*carved) && !file.isRebuilt;
        return isBelieved ? std::optional(BelievedFinding(file, carved->finding)) : std::nullopt;
    }

    // True if no whole file begins in a deleted file's extents after this many bytes: the bytes are then probably its
    // own.
    bool IsTailFree(const KnownFile& file, std::int64_t bytes) const {
        std::int64_t offset = 0;
        for (const Extent& extent : file.extents) {
            const std::int64_t from = std::max<std::int64_t>(bytes - offset, 0);
            const std::int64_t first = extent.startSector + (from + sectorSize_ - 1) / sectorSize_;
            const std::int64_t end = extent.startSector + (extent.bytes + sectorSize_ - 1) / sectorSize_;
            const auto next = std::ranges::lower_bound(outcomes_, first, {}, &Outcome::startSector);
            for (auto one = next; one != outcomes_.end() && one->startSector < end; ++one) {
                if (one->finding.verdict == Verdict::Whole && !extent.IsHole()) {
                    return false;
                }
            }
            offset += extent.bytes;
        }
        return true;
    }

    const KnownFiles& files_;
    const JoinedFindings& joined_;
    std::int32_t sectorSize_;
    Outcomes& outcomes_;
    Outcomes fresh_;
};

}  // namespace

bool HasValidator(std::int32_t type) {
    return std::ranges::any_of(
        Validators(), [type](const Validator* one) { return std::ranges::find(one->types, type) != one->types.end(); });
}

std::vector<JoinedQuestion> QuestionsAbout(const KnownFiles& files, const Outcomes& outcomes, const Medium& medium) {
    std::int64_t left = (std::int64_t{64} << 20) + 4 * medium.SizeInBytes();
    std::vector<JoinedQuestion> questions;
    ForEachPair(files, outcomes, [&](std::int32_t index, std::optional<std::size_t> at) {
        const KnownFile& file = *files.At(index);
        const Outcome* const carved = at ? &outcomes[*at] : nullptr;
        const bool isClear = carved != nullptr && (IsSame(file, *carved) || (IsBelieved(*carved) && !IsInPieces(file)));
        if (!isClear && files.IsIntact(index) && file.size <= left) {
            left -= file.size;
            questions.push_back({index, carved != nullptr ? ClaimsOf(*carved) : std::vector<ReportedClaim>()});
        }
    });
    return questions;
}

void PreferKnown(const KnownFiles& files, const JoinedFindings& joined, std::int32_t sectorSize, Outcomes& outcomes) {
    Comparison(files, joined, sectorSize, outcomes).Run();
}

}  // namespace salvor
