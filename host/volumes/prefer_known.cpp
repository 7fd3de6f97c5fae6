#include "host/volumes/prefer_known.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <utility>

#include "host/medium/extent_source.h"
#include "host/validate/validate_finds.h"

namespace salvor {

namespace {

// Passes the wish to stop on; what is found out by the way is the outcome alone.
class StopOnly : public ValidateObserver {
public:
    explicit StopOnly(const std::function<bool()>& stop) : stop_(stop) {}
    bool OnPlace(Validator::Phase /*phase*/, std::int64_t /*byte*/) override { return stop_(); }

private:
    const std::function<bool()>& stop_;
};

bool HasValidator(std::int32_t type) {
    return std::ranges::any_of(
        Validators(), [type](const Validator* one) { return std::ranges::find(one->types, type) != one->types.end(); });
}

class Comparison {
public:
    Comparison(Medium& medium, const KnownFiles& files, const std::map<std::int32_t, std::int64_t>& caps,
               std::vector<Outcome>& outcomes, const std::function<bool(std::int64_t)>& progress)
        : medium_(medium),
          files_(files),
          caps_(caps),
          outcomes_(outcomes),
          progress_(progress),
          left_((std::int64_t{64} << 20) + 4 * medium.SizeInBytes()) {}

    bool Run() {
        const std::size_t carved = outcomes_.size();
        std::size_t next = 0;
        for (std::size_t i = 0; i < files_.All().size(); ++i) {
            const KnownFile& file = files_.All()[i];
            at_ = file.StartSector() * medium_.SectorSize();
            if (progress_(at_) || medium_.IsInterrupted()) {
                return false;
            }
            while (next < carved && outcomes_[next].startSector < file.StartSector()) {
                ++next;
            }
            const bool isCarved = next < carved && outcomes_[next].startSector == file.StartSector();
            Compare(static_cast<std::int32_t>(i), isCarved ? &outcomes_[next] : nullptr);
        }
        const auto start = [](const Outcome& outcome) {
            return outcome.startSector;
        };
        outcomes_.insert(outcomes_.end(), fresh_.begin(), fresh_.end());
        std::ranges::inplace_merge(outcomes_, outcomes_.begin() + static_cast<std::ptrdiff_t>(carved), {}, start);
        return true;
    }

private:
    void Compare(std::int32_t index, Outcome* carved) {
        const KnownFile& file = *files_.At(index);
        if (carved != nullptr) {
            carved->known = index;
            const Finding& finding = carved->finding;
            if (finding.verdict == Verdict::Whole && finding.size == file.size && file.extents.size() == 1) {
                return;
            }
        }
        if (!files_.IsIntact(index) || file.size > left_) {
            return;
        }
        left_ -= file.size;
        const std::optional<Finding> joined = Examine(file, carved);
        if (!joined || (carved != nullptr && joined->verdict > carved->finding.verdict)) {
            return;
        }
        Outcome outcome;
        outcome.startSector = file.StartSector();
        outcome.finding = *joined;
        outcome.known = index;
        outcome.extents = file.extents;
        outcome.ownBytes = joined->size;
        if (!file.isDeleted || IsTailFree(file, joined->size)) {
            outcome.finding.size = file.size;
        }
        if (carved == nullptr) {
            fresh_.push_back(std::move(outcome));
        } else {
            outcome.reported = carved->reported;
            *carved = std::move(outcome);
        }
    }

    // What the validators say of the file's extents, joined; where they know nothing of the carved type, the file
    // system is believed.
    std::optional<Finding> Examine(const KnownFile& file, const Outcome* carved) {
        const std::function<bool()> stop = [this] {
            return progress_(at_);
        };
        Medium joined(std::make_unique<ExtentSource>(medium_, file.extents), medium_.SectorSize(), {false, stop});
        Sightings seen;
        seen.starts = {0};
        seen.AddTextStart(0);
        if (carved != nullptr) {
            for (const ReportedClaim& claim : carved->reported) {
                if (HasValidator(claim.type)) {
                    seen.finds.push_back({claim.type, 0, claim.size});
                }
            }
            if (seen.finds.empty() && !carved->reported.empty() && carved->finding.verdict != Verdict::NoFile) {
                Finding finding = carved->finding;
                finding.verdict = finding.verdict == Verdict::Whole ? Verdict::Whole : Verdict::Open;
                finding.size = file.size;
                finding.why = "size as the file system says";
                return finding;
            }
        }
        StopOnly observer(stop);
        ValidateRequest request;
        request.caps = caps_;
        const Validation validation = ValidateFinds(joined, seen, request, observer);
        const auto first = validation.outcomes.begin();
        if (!validation.complete || first == validation.outcomes.end() || first->startSector != 0 ||
            first->finding.verdict == Verdict::NoFile) {
            return std::nullopt;
        }
        return first->finding;
    }

    // No whole file begins in what the extents of a deleted file hold behind so many bytes: most likely that is the
    // file's own.
    bool IsTailFree(const KnownFile& file, std::int64_t bytes) const {
        const std::int64_t sectorSize = medium_.SectorSize();
        std::int64_t offset = 0;
        for (const Extent& extent : file.extents) {
            const std::int64_t from = std::max<std::int64_t>(bytes - offset, 0);
            const std::int64_t first = extent.startSector + (from + sectorSize - 1) / sectorSize;
            const std::int64_t end = extent.startSector + (extent.bytes + sectorSize - 1) / sectorSize;
            const auto next = std::ranges::lower_bound(outcomes_, first, {}, &Outcome::startSector);
            for (auto one = next; one != outcomes_.end() && one->startSector < end; ++one) {
                if (one->finding.verdict == Verdict::Whole) {
                    return false;
                }
            }
            offset += extent.bytes;
        }
        return true;
    }

    Medium& medium_;
    const KnownFiles& files_;
    const std::map<std::int32_t, std::int64_t>& caps_;
    std::vector<Outcome>& outcomes_;
    const std::function<bool(std::int64_t)>& progress_;
    std::int64_t at_ = 0;
    // Bytes of files that may still be looked at: file systems may claim the same ones for any number of files.
    std::int64_t left_;
    std::vector<Outcome> fresh_;
};

}  // namespace

bool PreferKnown(Medium& medium, const KnownFiles& files, const std::map<std::int32_t, std::int64_t>& caps,
                 std::vector<Outcome>& outcomes, const std::function<bool(std::int64_t)>& progress) {
    return Comparison(medium, files, caps, outcomes, progress).Run();
}

}  // namespace salvor
