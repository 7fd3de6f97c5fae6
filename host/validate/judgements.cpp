#include "host/validate/judgements.h"

#include <algorithm>
#include <span>

namespace salvor {

Finding NoFileBecause(const std::string& why) {
    Finding finding;
    finding.why = why;
    return finding;
}

std::optional<Judgement> Judgements::AnswerFor(std::size_t spot, Validator::Phase phase) const {
    const std::int32_t slot = answered_[At(spot, phase)];
    return slot >= 0 ? std::optional(Unpack(slot)) : std::nullopt;
}

void Judgements::KeepAnswer(std::size_t spot, Validator::Phase phase, const std::optional<Judgement>& answer) {
    answered_[At(spot, phase)] = answer ? Add(Pack(*answer)) : NoAnswer;
}

void Judgements::Judge(std::size_t spot, const Judgement& judgement) {
    states_[spot] = SpotState::Judged;
    const Packed packed = Pack(judgement);
    std::int32_t& judged = judged_[spot];
    const std::span answered(&answered_[PhasesOfASpot * spot], PhasesOfASpot);
    const auto same = std::ranges::find_if(
        answered, [&](std::int32_t slot) { return slot >= 0 && all_[static_cast<std::size_t>(slot)] == packed; });
    if (same != answered.end()) {
        judged = *same;
    } else if (judged >= 0 && std::ranges::find(answered, judged) == answered.end()) {
        all_[static_cast<std::size_t>(judged)] = packed;
    } else {
        judged = Add(packed);
    }
}

Judgement Judgements::Unpack(std::int32_t slot) const {
    const Packed& packed = all_[static_cast<std::size_t>(slot)];
    return {kinds_.Unpack(packed.finding), packed.validator};
}

std::int32_t Judgements::Add(const Packed& packed) {
    all_.push_back(packed);
    return static_cast<std::int32_t>(all_.size()) - 1;
}

}  // namespace salvor
