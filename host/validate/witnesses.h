#pragma once

#include <FileTypeCatalog.h>

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <utility>

#include "host/validate/spots.h"
#include "host/validate/validate_finds.h"

namespace salvor {

/// Who says it: the index of a validator, or `Nobody` for a scanner.
struct Judgement {
    static constexpr int Nobody = -1;
    Finding finding;
    int validator = Nobody;
};

inline bool IsFile(const Finding& finding) { return finding.verdict != Verdict::NoFile; }
Finding NoFileBecause(const std::string& why);
/// Did a validator have to stop before it knew, since it had read all that it may?
inline bool IsUnexamined(const Finding& finding) { return IsFile(finding) && finding.type < 0; }

/// Those who can say what begins at a place: the validators, and the scanners by what they have reported. Keeps account
/// of what is read for their answers.
class Witnesses {
public:
    /// All outlive this. The neighbours may change between two questions.
    Witnesses(Medium& medium, const Spots& spots, const Neighbours& neighbours, const ValidateRequest& request,
              ValidateObserver& observer);

    /// While only a part of the medium is looked at, the observer does not get answers that depend on what lies before
    /// it.
    void SeePartOnly(bool isPart) { isPart_ = isPart; }

    /// In bytes.
    std::int64_t AllowanceOfAFile() const { return perFile_; }

    /// The phase of the validator that judges a type's finds; nothing where the scanner's word stands.
    std::optional<Validator::Phase> PhaseOfType(std::int32_t type) const {
        return coveringPhase_[static_cast<std::size_t>(type)];
    }

    /// What the validators of a phase say of a place, by the one that is believed most; nothing where none of them sees
    /// its format begin. Reads `most` bytes at most. `exceptFor` is not asked.
    std::optional<Judgement> Ask(std::int64_t sector, Validator::Phase phase, std::int64_t most,
                                 int exceptFor = Judgement::Nobody);
    /// The same for a text that counts only if it is whole. Plain text never is, so it is not followed: the answer
    /// stays unexamined.
    std::optional<Judgement> AskForWholeText(std::int64_t sector, std::int64_t most);

    /// Of the finds that no validator judges, the one that is believed most; of all finds where `isUnexamined`.
    /// `answer` is what the validators have said, if anything.
    std::optional<Judgement> Reported(const Spot& spot, const Judgement* answer, bool isUnexamined);

private:
    std::optional<Judgement> AskAnew(std::int64_t sector, Validator::Phase phase, std::int64_t most, int exceptFor);
    // Tells the observer who is asked; false if it is set aside there.
    bool MayAsk(std::int64_t sector, std::int32_t asked);
    int IndexOf(const std::string& name) const;
    std::int64_t SizeWithoutCap(const Find& find);
    std::int64_t PdfSize(std::int64_t sector, std::int64_t size);
    Finding ReportedFinding(const Find& find, const char* unexaminedWhy);

    Medium& medium_;
    const Spots& spots_;
    const Neighbours& neighbours_;
    const ValidateRequest& request_;
    ValidateObserver& observer_;
    // What the run may still read, and what may be read for one file; in bytes.
    std::int64_t left_;
    std::int64_t perFile_;
    bool isPart_ = false;
    bool mustBeWhole_ = false;
    // A validator of the last answer ran out of its allowance.
    bool isUsedUp_ = false;
    std::array<std::optional<Validator::Phase>, FileTypeCount> coveringPhase_{};
    std::unordered_map<std::uint64_t, const KnownFinding*> known_;
    std::set<std::pair<std::int64_t, std::string>> setAside_;
    // By start and type.
    std::map<std::pair<std::int64_t, std::int32_t>, std::int64_t> uncapped_;
};

}  // namespace salvor
