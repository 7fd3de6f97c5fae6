#include "host/plan/plan.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>
#include <numeric>
#include <optional>
#include <tuple>
#include <utility>

#include "host/scan/scanners.h"

namespace salvor {

namespace {

// The user's cap on sizes of the type, in bytes; the largest number if there is none.
std::int64_t CapOf(std::int32_t type, const std::map<std::int32_t, std::int64_t>& caps) {
    const auto own = caps.find(type);
    return own == caps.end() ? std::numeric_limits<std::int64_t>::max() : own->second;
}

class Planner {
public:
    Planner(const MediumShape& medium, const PlanFilter& filter, const std::map<std::int32_t, std::int64_t>& caps,
            const PassOver& passOver)
        : medium_(medium), filter_(filter), caps_(caps), passOver_(passOver) {}

    Plan Make(Outcomes outcomes) {
        wholes_.reserve(static_cast<std::size_t>(
            std::ranges::count_if(outcomes, [](const Outcome& one) { return one.finding.verdict == Verdict::Whole; })));
        for (const Outcome& outcome : outcomes) {
            if (outcome.finding.verdict == Verdict::Whole) {
                for (const Range& range : RangesOf(ExtentsOf(outcome))) {
                    wholes_.push_back(range);
                }
            }
            if (IsSettled(outcome)) {
                NotePieces(outcome);
            }
        }
        std::ranges::sort(wholes_, {}, [](const Range& range) { return std::pair(range.start, range.end); });
        std::ranges::sort(pieces_, {}, [](const Piece& piece) { return piece.range.start; });
        // The plan grows while the outcomes make room for it.
        for (; !outcomes.empty(); outcomes.pop_front()) {
            const Outcome& outcome = outcomes.front();
            PlannedFile file = FileOf(outcome);
            if (const auto reason = Judge(outcome, file)) {
                passOver_({outcome, *reason, ""});
            } else {
                Place(std::move(file), outcome);
            }
        }
        if (!embeddedInPieces_.empty()) {
            TakeEmbeddedInPieces();
        }
        return std::move(plan_);
    }

private:
    // Offsets in bytes on the medium.
    struct Range {
        std::int64_t start;
        std::int64_t end;
    };

    // True if a file system gives the file's extents.
    static bool IsSettled(const Outcome& outcome) { return !outcome.place->extents.empty(); }

    // An extent of a file with known extents; it holds what begins inside it.
    struct Piece {
        Range range;
        std::int64_t fileStart;
        std::string path;
    };

    // Sectors outside the medium are clamped to the ones next to it, so that no sum overflows 64 bits.
    std::int64_t ByteOf(std::int64_t sector) const {
        return std::clamp<std::int64_t>(sector, -1, medium_.sizeInBytes / medium_.sectorSize + 1) * medium_.sectorSize;
    }
    bool IsOnMedium(std::int64_t sector) const { return sector >= 0 && ByteOf(sector) < medium_.sizeInBytes; }

    // The ranges of extents that are not holes.
    std::vector<Range> RangesOf(const std::vector<Extent>& extents) const {
        std::vector<Range> ranges;
        for (const Extent& extent : extents) {
            if (const std::int64_t start = ByteOf(extent.startSector); !extent.IsHole()) {
                ranges.push_back({start, start + extent.bytes});
            }
        }
        return ranges;
    }

    static std::vector<Extent> ExtentsOf(const Outcome& outcome) {
        std::vector<Extent> extents = outcome.place->extents;
        if (extents.empty()) {
            extents = {{outcome.startSector, outcome.finding.size}};
        }
        CutTo(extents, outcome.finding.size);
        return extents;
    }

    void NotePieces(const Outcome& outcome) {
        const PlannedFile file = FileOf(outcome);
        if (file.finding.verdict <= Verdict::Open && !Judge(outcome, file)) {
            std::vector<Extent> own = file.extents;
            CutTo(own, outcome.place->ownBytes);
            for (const Range& range : RangesOf(own)) {
                const std::string* const original = OriginalPath(file);
                pieces_.push_back({range, file.StartSector(), original == nullptr ? NameOf(file, "") : *original});
            }
        }
    }

    void TakeEmbeddedInPieces() {
        for (std::size_t i = 0; i < plan_.files.size(); ++i) {
            PlannedFile file = plan_.files[i];
            if (const auto found = embeddedInPieces_.find(file.StartSector()); found != embeddedInPieces_.end()) {
                file.embedded = std::move(found->second);
                plan_.files.Replace(i, file);
            }
        }
    }

    const Piece* PieceAround(std::int64_t byte) const {
        const auto next = std::ranges::upper_bound(pieces_, byte, {}, [](const Piece& one) { return one.range.start; });
        return next != pieces_.begin() && byte < std::prev(next)->range.end ? &*std::prev(next) : nullptr;
    }

    PlannedFile FileOf(const Outcome& outcome) const {
        PlannedFile file;
        file.finding = outcome.finding;
        file.extents = ExtentsOf(outcome);
        const std::int64_t room =
            IsSettled(outcome) ? BytesOf(file.extents) : medium_.sizeInBytes - ByteOf(outcome.startSector);
        file.finding.size = std::min(file.finding.size, room);
        file.reported = outcome.reported;
        file.known = outcome.known;
        for (const ReportedClaim& claim : outcome.reported) {
            file.atSizeCap = file.atSizeCap ||
                             (claim.size == outcome.finding.size && claim.size == FileTypeCatalog[claim.type].maxSize);
        }
        const bool reachesEnd = file.finding.size == medium_.sizeInBytes - ByteOf(outcome.startSector);
        file.cutAtEnd = file.finding.verdict == Verdict::Truncated && reachesEnd;
        if (!filter_.asReported && !IsSettled(outcome)) {
            EndAtNextWhole(outcome.startSector, file.finding);
        }
        EndAtCap(file);
        CutTo(file.extents, file.finding.size);
        return file;
    }

    // A whole file inside this one cuts it only if it ends after it, or if this one was not followed to its end.
    void EndAtNextWhole(std::int64_t startSector, Finding& finding) const {
        if (finding.verdict == Verdict::Whole) {
            return;
        }
        const std::int64_t start = ByteOf(startSector);
        const std::int64_t end = start + finding.size;
        for (auto next = std::ranges::upper_bound(wholes_, start, {}, &Range::start);
             next != wholes_.end() && next->start < end; ++next) {
            if (!finding.isUnbroken || next->end > end) {
                finding.size = next->start - start;
                finding.why = finding.why.Text() + "; it ends where a whole file begins";
                return;
            }
        }
    }

    void EndAtCap(PlannedFile& file) const {
        const std::int64_t cap = CapOf(file.finding.type, caps_);
        if (file.finding.size > cap) {
            file.finding.size = cap;
            file.finding.verdict = Verdict::Truncated;
            file.finding.why = "cut at the largest size that was asked for";
        }
        file.atSizeCap = file.atSizeCap || file.finding.size == cap;
    }

    std::optional<NotWanted> Judge(const Outcome& outcome, const PlannedFile& file) const {
        const bool isFile = outcome.finding.verdict != Verdict::NoFile && IsOnMedium(outcome.startSector);
        const auto refusal = RefusalOf(file.finding, filter_);
        return isFile || refusal == NotWanted::Type ? refusal : NotWanted::NoFile;
    }

    // Puts a file where it belongs: into the plan, or into the whole file around it.
    void Place(PlannedFile file, const Outcome& outcome) {
        const std::int64_t start = ByteOf(file.StartSector());
        const bool isSettled = IsSettled(outcome);
        const Piece* const piece = isSettled ? nullptr : PieceAround(start);
        const bool isInside = piece != nullptr || (!isSettled && start < coverEnd_);
        if (isInside && (IsPlainText(file.finding) || !filter_.asReported)) {
            const std::string container = piece != nullptr ? piece->path : coverPath_;
            if (IsPlainText(file.finding)) {
                passOver_({outcome, NotWanted::TextInFile, container});
                return;
            }
            Embed(std::move(file), outcome, container, piece);
            return;
        }
        file.path = PathOf(file);
        plan_.files.push_back(file);
        const Finding& finding = file.finding;
        const bool covers = !isSettled && (filter_.asReported ? !IsPlainText(finding) : Covers(finding));
        if (covers && start + finding.size > coverEnd_) {
            coverEnd_ = start + finding.size;
            cover_ = plan_.files.size() - 1;
            coverPath_ = file.path;
        }
    }

    // `piece` is the container's piece around the file; null if the container is contiguous.
    void Embed(PlannedFile file, const Outcome& outcome, const std::string& container, const Piece* piece) {
        const std::int64_t end = piece != nullptr ? piece->range.end : coverEnd_;
        file.finding.size = std::min(file.finding.size, end - ByteOf(file.StartSector()));
        file.extents.front().bytes = file.finding.size;
        const EmbeddedFile embedded{file.StartSector(), file.finding};
        if (piece != nullptr) {
            embeddedInPieces_[piece->fileStart].push_back(embedded);
        } else {
            plan_.files.AddEmbedded(cover_, embedded);
        }
        if (!filter_.withEmbedded) {
            passOver_({outcome, NotWanted::Embedded, container});
            return;
        }
        file.container = container;
        const std::string extension = ExtensionOf(file.finding);
        file.path = fmt::format("{}.embedded/f{:010}.{}", container, NumberOf(file), extension);
        plan_.files.push_back(file);
    }

    // Only with the scanners' own sizes can several files of one extension begin at one sector; those after the first
    // are numbered.
    std::string PathOf(const PlannedFile& file) {
        if (const std::string* const original = OriginalPath(file)) {
            return *original;
        }
        const std::string extension = ExtensionOf(file.finding);
        if (file.StartSector() != namedStart_) {
            namedStart_ = file.StartSector();
            namesThere_.clear();
        }
        const int number = ++namesThere_[extension];
        return NameOf(file, number == 1 ? "" : fmt::format("-{}", number));
    }

    const std::string* OriginalPath(const PlannedFile& file) const {
        const auto index = static_cast<std::size_t>(file.known);
        const bool isNamed =
            file.known >= 0 && index < filter_.originalPaths.size() && !filter_.originalPaths[index].empty();
        return isNamed ? &filter_.originalPaths[index] : nullptr;
    }

    std::string NameOf(const PlannedFile& file, const std::string& suffix) const {
        return UsualPath(file.finding, NumberOf(file), suffix);
    }
    // The sector number in the file's name.
    std::int64_t NumberOf(const PlannedFile& file) const {
        return medium_.numberOf ? medium_.numberOf(file.StartSector()) : file.StartSector();
    }

    const MediumShape& medium_;
    const PlanFilter& filter_;
    const std::map<std::int32_t, std::int64_t>& caps_;
    const PassOver& passOver_;
    std::vector<Range> wholes_;
    std::vector<Piece> pieces_;
    // By the start of the file around them.
    std::map<std::int64_t, std::vector<EmbeddedFile>> embeddedInPieces_;
    Plan plan_;
    // The file that holds what begins inside it: its end, its index in the plan and its path.
    std::int64_t coverEnd_ = 0;
    std::size_t cover_ = 0;
    std::string coverPath_;
    std::int64_t namedStart_ = -1;
    std::map<std::string, int> namesThere_;
};

// Types whose files are also claimed by a type that says more about them: ASF files, claimed as sounds or films too,
// and the older of two names for one maker's raws.
bool IsNamedByOthers(std::int32_t type) { return type == FileTypeIndex::Asf || type == FileTypeIndex::Srf; }

Outcome OutcomeOf(const Find& find, const MediumShape& medium) {
    Outcome outcome{find.startSector, {}, {{find.type, find.size}}, -1, {}};
    Finding& finding = outcome.finding;
    finding.type = find.type;
    const bool isOutside = find.startSector < 0 || find.startSector > medium.sizeInBytes / medium.sectorSize;
    const std::int64_t room = isOutside ? 0 : medium.sizeInBytes - find.startSector * medium.sectorSize;
    if (find.size <= 0 || room <= 0) {
        finding.why = find.size < 0    ? "its size is negative"
                      : find.size == 0 ? "its size is unknown"
                                       : "it starts outside the medium";
        return outcome;
    }
    finding.verdict = find.size > room ? Verdict::Truncated : Verdict::Open;
    finding.size = std::min(find.size, room);
    finding.why = find.size > room ? "it goes on past the medium's end" : "size as the scanner reports it";
    return outcome;
}

template <class ReasonFor>
void PassOverIf(Plan& plan, ReasonFor reasonFor) {
    plan.files.EraseIf([&](const PlannedFile& file) {
        const std::optional<NotWanted> reason = reasonFor(file);
        if (reason) {
            plan.passedOver.push_back(
                {{file.StartSector(), file.finding, file.reported, file.known, {}}, *reason, file.container});
        }
        return reason.has_value();
    });
}

}  // namespace

bool IsPlainTextType(std::int32_t type) { return type == FileTypeIndex::Text; }

const char* ReasonText(NotWanted reason) {
    switch (reason) {
        case NotWanted::Type:
            return "type not asked for";
        case NotWanted::Verdict:
            return "verdict not asked for";
        case NotWanted::TooSmall:
            return "smaller than the smallest size asked for";
        case NotWanted::TooLarge:
            return "larger than the largest size asked for";
        case NotWanted::NoFile:
            return "no such file";
        case NotWanted::TextInFile:
            return "text that begins in a file of another type";
        case NotWanted::Embedded:
            return "embedded in a whole file";
        case NotWanted::ManyClaims:
            return "the files together are larger than twice the medium";
        case NotWanted::NoRoom:
            return "no room on the disk";
        case NotWanted::FewPixels:
            return "fewer pixels than asked for";
        case NotWanted::OtherTime:
            return "not known to be taken in the time asked for";
    }
    return "";
}

std::optional<NotWanted> RefusalOf(const Finding& finding, const PlanFilter& filter) {
    if (!std::ranges::binary_search(filter.types, finding.type)) {
        return NotWanted::Type;
    }
    if (!filter.only.empty() && std::ranges::find(filter.only, finding.verdict) == filter.only.end()) {
        return NotWanted::Verdict;
    }
    if (const auto smallest = filter.minSize.For(finding.type); smallest && finding.size < *smallest) {
        return NotWanted::TooSmall;
    }
    if (const auto largest = filter.maxSize.For(finding.type); largest && finding.size > *largest) {
        return NotWanted::TooLarge;
    }
    return std::nullopt;
}

std::optional<NotWanted> RefusalOf(const FileDetails& details, const PlanFilter& filter) {
    const auto [shortSide, longSide] = std::minmax(details.width, details.height);
    if (longSide > 0 && (longSide < filter.leastLongSide || shortSide < filter.leastShortSide)) {
        return NotWanted::FewPixels;
    }
    const bool anyTime = filter.takenFrom.empty() && filter.takenTo.empty();
    const bool isInTime = !details.taken.empty() && details.taken >= filter.takenFrom &&
                          (filter.takenTo.empty() || details.taken.substr(0, filter.takenTo.size()) <= filter.takenTo);
    return anyTime || isInTime ? std::nullopt : std::optional(NotWanted::OtherTime);
}

Plan MakePlan(Outcomes outcomes, const MediumShape& medium, const PlanFilter& filter,
              const std::map<std::int32_t, std::int64_t>& caps) {
    std::vector<PassedOver> passedOver;
    const PassOver keep = [&passedOver](const PassedOver& passed) {
        passedOver.push_back(passed);
    };
    Plan plan = MakePlan(std::move(outcomes), medium, filter, caps, keep);
    plan.passedOver.insert(plan.passedOver.begin(), passedOver.begin(), passedOver.end());
    return plan;
}

Plan MakePlan(Outcomes outcomes, const MediumShape& medium, const PlanFilter& filter,
              const std::map<std::int32_t, std::int64_t>& caps, const PassOver& passOver) {
    Plan plan = Planner(medium, filter, caps, passOver).Make(std::move(outcomes));
    if (!filter.allClaims) {
        KeepBest(plan, 2 * medium.sizeInBytes, NotWanted::ManyClaims, &PlannedFile::Size);
    }
    return plan;
}

void KeepBest(Plan& plan, std::int64_t room, NotWanted reason,
              const std::function<std::int64_t(const PlannedFile&)>& costOf) {
    std::vector<std::size_t> best(plan.files.size());
    std::iota(best.begin(), best.end(), std::size_t{0});
    std::ranges::stable_sort(best, {}, [&plan](std::size_t i) {
        const Finding& finding = plan.files.FindingOf(i);
        return std::tuple(finding.verdict, finding.size);
    });
    std::vector<bool> fits(plan.files.size());
    for (const std::size_t i : best) {
        const std::int64_t cost = costOf(plan.files[i]);
        fits[i] = cost <= room;
        room -= fits[i] ? cost : 0;
    }
    std::size_t next = 0;
    PassOverIf(plan, [&](const PlannedFile& /*file*/) { return fits[next++] ? std::nullopt : std::optional(reason); });
}

void KeepByDetails(Plan& plan, const PlanFilter& filter) {
    PassOverIf(plan, [&filter](const PlannedFile& file) { return RefusalOf(file.details, filter); });
}

Outcomes ReportedOutcomes(const std::vector<Find>& finds, const MediumShape& medium,
                          const std::vector<std::int32_t>& wanted) {
    Outcomes outcomes;
    for (const Find& find : finds) {
        outcomes.push_back(OutcomeOf(find, medium));
    }
    const auto range = [&wanted](const Outcome& outcome) {
        const Finding& finding = outcome.finding;
        return std::tuple(outcome.startSector, finding.size, finding.verdict, IsPlainText(finding),
                          std::ranges::binary_search(wanted, finding.type));
    };
    std::ranges::sort(outcomes, {}, [&range](const Outcome& outcome) {
        const std::int32_t type = outcome.finding.type;
        return std::tuple(range(outcome), IsNamedByOthers(type), type, outcome.reported.front().size);
    });
    // In place, as there may be millions.
    std::size_t count = 0;
    for (Outcome& outcome : outcomes) {
        if (count == 0 || range(outcomes[count - 1]) != range(outcome)) {
            std::swap(outcomes[count++], outcome);
        } else if (Claims& claims = outcomes[count - 1].reported; claims.back() != outcome.reported.front()) {
            claims.Add(outcome.reported.front());
        }
    }
    outcomes.resize(count);
    // Files with the same start are ordered by type, but plain text comes after files that may contain it.
    std::ranges::sort(outcomes, {}, [](const Outcome& outcome) {
        const Finding& finding = outcome.finding;
        return std::tuple(outcome.startSector, IsPlainText(finding), finding.type, finding.size, finding.verdict,
                          outcome.reported.front().size);
    });
    return outcomes;
}

}  // namespace salvor
