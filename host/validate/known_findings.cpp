#include "host/validate/known_findings.h"

#include <algorithm>
#include <functional>
#include <string>

namespace salvor {

namespace {

using Phase = Validator::Phase;

constexpr int LowBits = 32;
constexpr std::int64_t LowMask = (std::int64_t{1} << LowBits) - 1;

constexpr int PhaseBits = 2;
constexpr std::int64_t WholeOnlyBit = std::int64_t{1} << PhaseBits;
constexpr int PlaceBits = PhaseBits + 1;
constexpr std::int64_t MostSectors = std::int64_t{1} << 55;

std::int64_t PlaceOf(std::int64_t sector, Phase phase, bool countsWholeOnly) {
    return sector * (1 << PlaceBits) + (countsWholeOnly ? WholeOnlyBit : 0) + static_cast<std::int64_t>(phase);
}
std::int64_t SectorOf(std::int64_t place) { return place >> PlaceBits; }
bool CountsWholeOnly(std::int64_t place) { return (place & WholeOnlyBit) != 0; }
Phase PhaseOf(std::int64_t place) { return static_cast<Phase>(place & ((1 << PhaseBits) - 1)); }

}  // namespace

std::size_t FindingKinds::Hash::operator()(const Finding& kind) const {
    // A text is stored once, so its address stands for it.
    const std::hash<const std::string*> textHash;
    std::size_t hash = 0;
    for (const std::size_t value :
         {textHash(&kind.why.Text()), textHash(&kind.extension.Text()), static_cast<std::size_t>(kind.type),
          static_cast<std::size_t>(kind.size >> LowBits), static_cast<std::size_t>(kind.verdict)}) {
        constexpr std::size_t factor = 0x9E3779B97F4A7C15;
        hash = (hash ^ value) * factor;
        hash ^= hash >> LowBits;
    }
    return hash;
}

PackedFinding FindingKinds::Pack(const Finding& finding) {
    Finding kind = finding;
    kind.size &= ~LowMask;
    const auto [at, isNew] = numbers_.try_emplace(kind, static_cast<std::uint32_t>(kinds_.size()));
    if (isNew) {
        kinds_.push_back(&at->first);
    }
    return {static_cast<std::uint32_t>(finding.size & LowMask), at->second};
}

Finding FindingKinds::Unpack(PackedFinding packed) const {
    Finding finding = *kinds_[packed.kind];
    finding.size |= packed.lowSize;
    return finding;
}

void KnownFindings::Add(const KnownFinding& finding) {
    if (finding.startSector <= -MostSectors || finding.startSector >= MostSectors) {
        return;
    }
    Packed packed{PlaceOf(finding.startSector, finding.phase, finding.countsWholeOnly), kinds_.Pack(finding.finding), 0,
                  finding.validator};
    if (finding.cost >= 0 && finding.cost < FirstHighCost) {
        packed.cost = static_cast<std::uint32_t>(finding.cost);
    } else {
        packed.cost = FirstHighCost + static_cast<std::uint32_t>(highCosts_.size());
        highCosts_.push_back(finding.cost);
    }
    all_.push_back(packed);
}

void KnownFindings::AddRefused(std::int64_t sector, Phase phase) {
    constexpr std::size_t mostInPhase = std::size_t{1} << 19U;
    if (auto& refused = refused_[static_cast<std::size_t>(phase)]; refused.size() < mostInPhase) {
        refused.push_back(sector);
    }
}

void KnownFindings::Add(const KnownFindings& findings) {
    for (std::size_t i = 0; i < findings.Count(); ++i) {
        Add(findings[i]);
    }
    for (const Phase phase : {Phase::Structure, Phase::Bounded, Phase::Text}) {
        std::ranges::for_each(findings.Refused(phase), [&](std::int64_t sector) { AddRefused(sector, phase); });
    }
}

KnownFinding KnownFindings::operator[](std::size_t index) const {
    const Packed& packed = all_[index];
    const std::int64_t cost = packed.cost < FirstHighCost ? packed.cost : highCosts_[packed.cost - FirstHighCost];
    return {SectorOf(packed.place),       PhaseOf(packed.place), packed.validator, kinds_.Unpack(packed.finding), cost,
            CountsWholeOnly(packed.place)};
}

void KnownFindings::Drop(Phase phase) {
    std::erase_if(all_, [phase](const Packed& one) { return PhaseOf(one.place) == phase; });
    refused_[static_cast<std::size_t>(phase)].clear();
}

void KnownFindings::Sort() {
    std::ranges::stable_sort(all_, {}, &Packed::place);
    std::ranges::for_each(refused_, [](std::vector<std::int64_t>& sectors) { std::ranges::sort(sectors); });
}

std::optional<KnownFinding> KnownFindings::AtPlace(std::int64_t sector, Phase phase, bool countsWholeOnly) const {
    const std::int64_t place = PlaceOf(sector, phase, countsWholeOnly);
    const auto at = std::ranges::lower_bound(all_, place, {}, &Packed::place);
    return at != all_.end() && at->place == place ? std::optional((*this)[static_cast<std::size_t>(at - all_.begin())])
                                                  : std::nullopt;
}

bool KnownFindings::IsRefused(std::int64_t sector, Phase phase) const {
    return std::ranges::binary_search(refused_[static_cast<std::size_t>(phase)], sector);
}

}  // namespace salvor
