#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "host/validate/known_findings.h"
#include "host/validators/validator.h"

namespace salvor {

/// A finding and who made it: the index of a validator, or `Nobody` for a scanner.
struct Judgement {
    static constexpr int Nobody = -1;
    Finding finding;
    int validator = Nobody;
    bool operator==(const Judgement&) const = default;
};

inline bool IsFile(const Finding& finding) { return finding.verdict != Verdict::NoFile; }
Finding NoFileBecause(const std::string& why);
/// True if a validator had to stop early because it had read all that it may.
inline bool IsUnexamined(const Finding& finding) { return IsFile(finding) && finding.type < 0; }

/// What a walk over the spots has decided about one of them.
enum class SpotState : std::uint8_t {
    /// No file begins there.
    Nothing,
    /// It lies inside a whole file.
    Inside,
    /// It has a judgement.
    Judged,
};

/// The answers for each spot in the first two phases, and the judgement that was made of them. There may be millions of
/// spots, so both are packed, and one that equals the other is stored once.
class Judgements {
public:
    /// `count` is the number of spots.
    explicit Judgements(std::size_t count)
        : answered_(count * PhasesOfASpot, NotAsked), states_(count), judged_(count, NotAsked) {}

    bool HasAsked(std::size_t spot, Validator::Phase phase) const { return answered_[At(spot, phase)] != NotAsked; }
    /// Nothing if none was kept.
    std::optional<Judgement> AnswerFor(std::size_t spot, Validator::Phase phase) const;
    /// Call once for each spot and phase. Nothing stands for validators that all refused the place.
    void KeepAnswer(std::size_t spot, Validator::Phase phase, const std::optional<Judgement>& answer);

    SpotState StateOf(std::size_t spot) const { return states_[spot]; }
    bool IsWhole(std::size_t spot) const {
        return states_[spot] == SpotState::Judged && Of(spot).finding.verdict == Verdict::Whole;
    }
    bool IsFileAt(std::size_t spot) const { return states_[spot] == SpotState::Judged && IsFile(Of(spot).finding); }
    /// The judgement of a spot that has one.
    Judgement Of(std::size_t spot) const { return Unpack(judged_[spot]); }

    /// `state` is not `Judged`.
    void SetState(std::size_t spot, SpotState state) { states_[spot] = state; }
    /// Replaces an earlier judgement of the spot.
    void Judge(std::size_t spot, const Judgement& judgement);

private:
    struct Packed {
        PackedFinding finding;
        std::int32_t validator = Judgement::Nobody;
        bool operator==(const Packed&) const = default;
    };

    static constexpr std::size_t PhasesOfASpot = 2;
    static constexpr std::int32_t NotAsked = -2;
    static constexpr std::int32_t NoAnswer = -1;

    static std::size_t At(std::size_t spot, Validator::Phase phase) {
        return PhasesOfASpot * spot + (phase == Validator::Phase::Bounded ? 1 : 0);
    }
    Packed Pack(const Judgement& judgement) { return {kinds_.Pack(judgement.finding), judgement.validator}; }
    Judgement Unpack(std::int32_t slot) const;
    std::int32_t Add(const Packed& packed);

    std::deque<Packed> all_;
    FindingKinds kinds_;
    // An index in `all_` for each phase of a spot.
    std::vector<std::int32_t> answered_;
    std::vector<SpotState> states_;
    // For spots that are judged: an index in `all_`.
    std::vector<std::int32_t> judged_;
};

}  // namespace salvor
