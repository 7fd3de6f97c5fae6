#include "host/plan/plan.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <map>
#include <optional>
#include <string_view>
#include <tuple>

#include "host/scan/scanners.h"

namespace salvor {

namespace {

// Any run of letters is plain text: most of it belongs to the file of another type that it begins in.
constexpr std::int32_t PlainText = FileTypeIndex::Text;

// Types whose files another type, which says more about them, claims too: any ASF file, of which sounds and films are
// also claimed as such, and the older of the two names of one maker's raws.
bool IsNamedByOthers(std::int32_t type) {
    constexpr std::int32_t asf = FileTypeIndex::Asf;
    constexpr std::int32_t srf = FileTypeIndex::Srf;
    return type == asf || type == srf;
}

struct Claim {
    std::int64_t startSector;
    // Cut at the medium's end.
    std::int64_t size;
    std::int32_t type;
    SizeSource sizeSource;
    bool cutAtEnd;
    bool atSizeCap;
};

std::optional<NotWanted> Judge(const Find& find, std::int64_t size, const PlanFilter& filter) {
    if (!std::ranges::binary_search(filter.types, find.type)) {
        return NotWanted::Type;
    }
    if (find.size <= 0) {
        return find.size == 0 ? NotWanted::SizeUnknown : NotWanted::SizeNegative;
    }
    if (size <= 0) {
        return NotWanted::BehindEnd;
    }
    if (const auto smallest = filter.minSize.For(find.type); smallest && size < *smallest) {
        return NotWanted::TooSmall;
    }
    if (const auto largest = filter.maxSize.For(find.type); largest && size > *largest) {
        return NotWanted::TooLarge;
    }
    return std::nullopt;
}

// Bytes of the medium from a sector to its end; 0 for a sector outside it.
std::int64_t BytesFrom(std::int64_t sector, const MediumShape& medium) {
    if (sector < 0 || sector > medium.sizeInBytes / medium.sectorSize) {
        return 0;
    }
    return medium.sizeInBytes - sector * medium.sectorSize;
}

// The sectors in which wanted files of other types than plain text have bytes.
class OtherFiles {
public:
    OtherFiles(const std::vector<SizedFind>& finds, const MediumShape& medium, const PlanFilter& filter) {
        for (const auto& [find, source, atCap] : finds) {
            const std::int64_t size = std::min(find.size, BytesFrom(find.startSector, medium));
            if (find.type != PlainText && !Judge(find, size, filter)) {
                ranges_.push_back({find.startSector, find.startSector + (size - 1) / medium.sectorSize});
            }
        }
        std::ranges::sort(ranges_, {}, &Range::first);
        for (std::size_t i = 1; i < ranges_.size(); ++i) {
            ranges_[i].last = std::max(ranges_[i].last, ranges_[i - 1].last);
        }
    }

    bool Contain(std::int64_t sector) const {
        const auto behind = std::ranges::upper_bound(ranges_, sector, {}, &Range::first);
        return behind != ranges_.begin() && std::prev(behind)->last >= sector;
    }

private:
    // `last` is that of all ranges up to this one.
    struct Range {
        std::int64_t first;
        std::int64_t last;
    };
    std::vector<Range> ranges_;
};

PlannedFile FileOf(const Claim& claim) {
    PlannedFile file;
    file.startSector = claim.startSector;
    file.size = claim.size;
    file.sizeSource = claim.sizeSource;
    file.cutAtEnd = claim.cutAtEnd;
    file.atSizeCap = claim.atSizeCap;
    return file;
}

// Files of one extension that start at one sector but differ in size are numbered from the second on.
void NameFiles(std::vector<PlannedFile>& files) {
    std::map<std::string_view, int> taken;
    std::int64_t start = -1;
    for (PlannedFile& file : files) {
        if (file.startSector != start) {
            start = file.startSector;
            taken.clear();
        }
        const std::string_view extension = ExtensionOf(file.claimants.front());
        const int number = ++taken[extension];
        const std::string suffix = number == 1 ? "" : fmt::format("-{}", number);
        file.path = fmt::format("{0}/f{1:010}{2}.{0}", extension, start, suffix);
    }
}

}  // namespace

const char* ReasonText(NotWanted reason) {
    switch (reason) {
        case NotWanted::Type:
            return "type not asked for";
        case NotWanted::TooSmall:
            return "smaller than the smallest size asked for";
        case NotWanted::TooLarge:
            return "larger than the largest size asked for";
        case NotWanted::SizeUnknown:
            return "size unknown";
        case NotWanted::SizeNegative:
            return "size is negative";
        case NotWanted::BehindEnd:
            return "starts outside the medium";
        case NotWanted::TextInFile:
            return "text that begins in a file of another type";
    }
    return "";
}

Plan MakePlan(const std::vector<SizedFind>& finds, const MediumShape& medium, const PlanFilter& filter) {
    Plan plan;
    const OtherFiles otherFiles(finds, medium, filter);
    std::vector<Claim> claims;
    for (const auto& [find, source, atCap] : finds) {
        const std::int64_t size = std::min(find.size, BytesFrom(find.startSector, medium));
        if (const auto reason = Judge(find, size, filter)) {
            plan.passedOver.push_back({find, *reason});
            continue;
        }
        if (find.type == PlainText && otherFiles.Contain(find.startSector)) {
            plan.passedOver.push_back({find, NotWanted::TextInFile});
            continue;
        }
        claims.push_back({find.startSector, size, find.type, source, size < find.size, atCap});
    }
    const auto order = [](const Claim& claim) {
        return std::tuple(claim.startSector, claim.size, IsNamedByOthers(claim.type), claim.type);
    };
    std::ranges::sort(claims, {}, order);
    const auto isSame = [&order](const Claim& a, const Claim& b) {
        return order(a) == order(b);
    };
    claims.erase(std::unique(claims.begin(), claims.end(), isSame), claims.end());

    for (const Claim& claim : claims) {
        const bool joins = !plan.files.empty() && plan.files.back().startSector == claim.startSector &&
                           plan.files.back().size == claim.size;
        if (!joins) {
            plan.files.push_back(FileOf(claim));
        }
        plan.files.back().claimants.push_back(claim.type);
    }
    // Files that start together stand in the registry's order of their first claimants.
    std::ranges::stable_sort(
        plan.files, {}, [](const PlannedFile& file) { return std::tuple(file.startSector, file.claimants.front()); });
    NameFiles(plan.files);
    return plan;
}

}  // namespace salvor
