#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "host/validators/validator.h"

namespace salvor {

/// The result for a place in one phase, stored so that an interrupted run can go on from there.
struct KnownFinding {
    std::int64_t startSector = 0;
    Validator::Phase phase = Validator::Phase::Structure;
    /// The validator whose finding counts; empty if the scanner's does.
    Phrase validator;
    Finding finding;
    /// Bytes that were read for it; they are deducted from the allowance again.
    std::int64_t cost = 0;
    /// Only a whole file counted.
    bool countsWholeOnly = false;
    bool operator==(const KnownFinding&) const = default;
};

/// How far a validator's walk over a large file was when it was noted last.
struct WalkNote {
    /// Bytes that had been read for it.
    std::int64_t cost = 0;
    /// The fields of the walk.
    std::vector<std::int64_t> fields;
};

/// A walk's start sector and the name of its validator.
using WalkPlace = std::pair<std::int64_t, std::string>;
using KnownWalks = std::map<WalkPlace, WalkNote>;

/// A finding in 8 bytes: its size below 4 GiB, and the number of the rest of it.
struct PackedFinding {
    std::uint32_t lowSize = 0;
    std::uint32_t kind = 0;
    bool operator==(const PackedFinding&) const = default;
};

/// Packs findings. There may be millions, of which most differ in nothing but their sizes.
class FindingKinds {
public:
    FindingKinds() = default;
    FindingKinds(FindingKinds&&) = default;
    FindingKinds& operator=(FindingKinds&&) = default;

    /// Equal findings are equal when they are packed.
    PackedFinding Pack(const Finding& finding);
    Finding Unpack(PackedFinding packed) const;

private:
    struct Hash {
        std::size_t operator()(const Finding& kind) const;
    };

    // Findings without the lower half of their size.
    std::unordered_map<Finding, std::uint32_t, Hash> numbers_;
    std::vector<const Finding*> kinds_;
};

/// The findings of an earlier run, in 24 bytes each, and the places at which it found that nobody accepts their first
/// bytes, in 8.
class KnownFindings {
public:
    /// Ignores sectors that no medium has.
    void Add(const KnownFinding& finding);
    /// No validator of the phase accepts the first bytes of the place. Ignored if very many are known: those are asked
    /// about again.
    void AddRefused(std::int64_t sector, Validator::Phase phase);
    void Add(const KnownFindings& findings);
    void Reserve(std::size_t count) { all_.reserve(count); }
    std::size_t Count() const { return all_.size(); }
    /// In the order in which they were added, until they are sorted.
    KnownFinding operator[](std::size_t index) const;
    /// The sectors of refused places, in the order in which they were added, until they are sorted.
    const std::vector<std::int64_t>& Refused(Validator::Phase phase) const {
        return refused_[static_cast<std::size_t>(phase)];
    }
    bool IsEmpty() const {
        return all_.empty() && std::ranges::all_of(refused_, [](const auto& sectors) { return sectors.empty(); });
    }
    void Clear() { *this = {}; }
    void Drop(Validator::Phase phase);

    /// Needed before `AtPlace` and `IsRefused`.
    void Sort();
    /// Of the findings for a place, the one that was added first; nothing if there is none.
    std::optional<KnownFinding> AtPlace(std::int64_t sector, Validator::Phase phase, bool countsWholeOnly) const;
    bool IsRefused(std::int64_t sector, Validator::Phase phase) const;

private:
    struct Packed {
        // The sector and, in the lowest bits, whether only a whole file counted, and the phase.
        std::int64_t place = 0;
        PackedFinding finding;
        // From `FirstHighCost` on: an index in `highCosts_`.
        std::uint32_t cost = 0;
        Phrase validator;
    };
    static constexpr std::uint32_t FirstHighCost = 0x80000000;
    static constexpr std::size_t PhaseCount = 3;

    std::vector<Packed> all_;
    FindingKinds kinds_;
    std::vector<std::int64_t> highCosts_;
    // By phase.
    std::array<std::vector<std::int64_t>, PhaseCount> refused_;
};

}  // namespace salvor
