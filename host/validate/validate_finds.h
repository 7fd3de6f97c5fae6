#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "host/medium/medium.h"
#include "host/scan/scan_session.h"
#include "host/validate/cluster_grid.h"
#include "host/validate/known_findings.h"
#include "host/validate/outcome.h"
#include "host/validators/validator.h"

namespace salvor {

/// A validator or scanner that failed at a place and is not asked there again.
struct SetAside {
    std::int64_t sector = 0;
    /// The name that `NameOfAsked` gives.
    std::string who;
    /// For messages: "crashed (signal 11)".
    std::string how;
    bool operator==(const SetAside&) const = default;
};

/// Receives the progress of validation.
class ValidateObserver {
public:
    virtual ~ValidateObserver() = default;
    /// The medium's bytes before `byte` are done in this phase. True stops the run.
    virtual bool OnPlace(Validator::Phase phase, std::int64_t byte) = 0;
    /// Called for each finding that was not known before.
    virtual void OnFinding(const KnownFinding& /*finding*/) {}
    /// Called for each place of which was not known before that no validator of the phase accepts its first bytes.
    virtual void OnRefused(std::int64_t /*sector*/, Validator::Phase /*phase*/) {}
    /// Asked again and again while a validator reads a file; true to get a note of how far it is.
    virtual bool WantsWalk() { return false; }
    virtual void OnWalk(const WalkPlace& /*place*/, const WalkNote& /*note*/) {}
    /// From now on `asked` looks at the place: the index of a validator or, from the number of validators on, a type
    /// whose scanner is asked.
    virtual void OnAsk(std::int64_t /*sector*/, std::int32_t /*asked*/) {}
};

struct ValidateRequest {
    std::span<const Validator* const> validators = Validators();
    /// The user's caps in bytes, by factory index: a size that has reached one is taken as it is.
    std::map<std::int32_t, std::int64_t> caps;
    /// Where the clusters of known file systems lie: that is where texts begin.
    std::vector<GridStretch> grids{};
    /// Findings of an earlier run on the same sightings.
    KnownFindings known{};
    /// Walks that an earlier run began.
    KnownWalks walks{};
    std::span<const SetAside> setAside{};
    /// Only collects the findings of one phase for the places in these sectors, for a later run to use; gives no
    /// outcomes. The findings of earlier phases should be known.
    std::optional<SectorRange> ahead{};
    /// The phase of `ahead`.
    Validator::Phase phase = Validator::Phase::Structure;
};

struct Validation {
    /// One for each place, ascending by start. Every find belongs to one of them; refuted starts do not.
    Outcomes outcomes;
    /// False if the observer stopped it, so that outcomes are missing.
    bool complete = false;
    /// Validators and scanners that could not be asked at some place; the scanners' claims count there.
    std::vector<SetAside> setAside;
};

/// The name of a validator, or of a type's scanner, with the number that `ValidateObserver::OnAsk` gets.
std::string NameOfAsked(std::span<const Validator* const> validators, std::int32_t asked);

/// Finds out for every find and every start which file is there, where it really ends and whether it is whole. A pure
/// function of the medium and the scan's sightings. It reads at most a few times the medium's size; files that it does
/// not get to keep the scanners' sizes, and their findings say so.
Validation ValidateFinds(Medium& medium, const Sightings& seen, ValidateRequest request, ValidateObserver& observer);
/// The same for very many finds: `take` gets the outcomes one by one, and none is kept.
Validation ValidateFinds(Medium& medium, Sightings seen, ValidateRequest request, ValidateObserver& observer,
                         const std::function<void(Outcome)>& take);

}  // namespace salvor
