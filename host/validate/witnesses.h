#pragma once

#include <FileTypeCatalog.h>

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "host/validate/judgements.h"
#include "host/validate/spots.h"
#include "host/validate/validate_finds.h"

namespace salvor {

/// The sources of answers about a place: the validators, and the scanners through their reports. Keeps account of the
/// bytes that are read for the answers.
class Witnesses {
public:
    /// All arguments outlive this. The neighbours may change between questions; what is known is sorted before the
    /// first.
    Witnesses(Medium& medium, const Spots& spots, const Neighbours& neighbours, const ValidateRequest& request,
              ValidateObserver& observer);

    /// While only a part of the medium is looked at, the observer does not get answers that depend on what is before
    /// that part.
    void SeePartOnly(bool isPart) { isPart_ = isPart; }

    /// In bytes.
    std::int64_t AllowanceOfAFile() const { return perFile_; }

    /// The phase of the validator that judges a type's finds; nothing if the scanner's report counts.
    std::optional<Validator::Phase> PhaseOfType(std::int32_t type) const {
        return coveringPhase_[static_cast<std::size_t>(type)];
    }

    /// The most trusted answer of a phase's validators for a place; nothing if none of them accepts its start. Reads at
    /// most `most` bytes. `exceptFor` is not asked.
    std::optional<Judgement> Ask(std::int64_t sector, Validator::Phase phase, std::int64_t most,
                                 int exceptFor = Judgement::Nobody);
    /// The same for a text that counts only if it is whole. Plain text never is, so it is not followed: the answer
    /// stays unexamined.
    std::optional<Judgement> AskForWholeText(std::int64_t sector, std::int64_t most);

    /// The most trusted of the finds that are not for a validator to judge; of all finds with `isUnexamined`. `answer`
    /// is the validators' answer, if there is one.
    std::optional<Judgement> Reported(const Spot& spot, const Judgement* answer, bool isUnexamined);

private:
    // The same as `IsRefusedAgain` for what an earlier run found out.
    bool IsKnownAsRefused(std::int64_t sector, Validator::Phase phase, std::int64_t most);
    // A place is often asked about in two phases in a row. True if no validator of the phase accepts the first bytes,
    // which were read for the last question; they count as read once more.
    bool IsRefusedAgain(std::int64_t sector, Validator::Phase phase, std::int64_t most);
    std::int64_t CostOfHead(std::int64_t sector) const;
    void ReadHead(std::int64_t sector, std::int64_t given);
    std::optional<Judgement> AskAnew(std::int64_t sector, Validator::Phase phase, std::int64_t most, int exceptFor);
    Finding Follow(const Validator& validator, std::int64_t sector, Place& place, ReadAllowance& allowance,
                   std::int64_t most);
    // True if a question that costs this much leaves enough for each validator to read `most` bytes.
    bool HasAllOf(std::int64_t most, std::int64_t cost) const;
    // Informs the observer who is asked; false if that one is set aside here.
    bool MayAsk(std::int64_t sector, std::int32_t asked);
    int IndexOf(const std::string& name) const;
    std::int64_t SizeWithoutCap(const Find& find);
    void JudgePdf(std::int64_t sector, Finding& finding);
    Finding ReportedFinding(const Find& find, const char* unexaminedWhy);

    static constexpr std::int64_t NoSector = -1;

    // The first bytes of a place, and what it cost to read them.
    struct Head {
        std::int64_t sector = NoSector;
        std::vector<std::uint8_t> bytes;
        std::int64_t cost = 0;
    };

    Medium& medium_;
    const Spots& spots_;
    const Neighbours& neighbours_;
    const ValidateRequest& request_;
    ValidateObserver& observer_;
    // How many bytes the run may still read, and how many may be read for one file.
    std::int64_t left_;
    std::int64_t perFile_;
    bool isPart_ = false;
    bool mustBeWhole_ = false;
    // For the last answer, a validator ran out of its allowance.
    bool isUsedUp_ = false;
    std::array<std::optional<Validator::Phase>, FileTypeCount> coveringPhase_{};
    std::set<std::pair<std::int64_t, std::string>> setAside_;
    Head head_;
    // By start and type.
    std::map<std::pair<std::int64_t, std::int32_t>, std::int64_t> uncapped_;
};

}  // namespace salvor
