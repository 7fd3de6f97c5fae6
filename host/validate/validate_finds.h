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
#include "host/validate/outcome.h"
#include "host/validators/validator.h"

namespace salvor {

/// The result for a place in one phase, kept so that a run that was stopped can go on from there.
struct KnownFinding {
    std::int64_t startSector = 0;
    Validator::Phase phase = Validator::Phase::Structure;
    /// The validator whose finding counts; empty if the scanner's find does.
    Phrase validator;
    Finding finding;
    /// Bytes that were read for it; they count against the allowance again.
    std::int64_t cost = 0;
    bool operator==(const KnownFinding&) const = default;
};

/// Who fell over a place and is not asked there again.
struct SetAside {
    std::int64_t sector = 0;
    /// As `NameOfAsked` says it.
    std::string who;
    /// For people: "crashed (signal 11)".
    std::string how;
    bool operator==(const SetAside&) const = default;
};

/// Receives the progress of validation.
class ValidateObserver {
public:
    virtual ~ValidateObserver() = default;
    /// The medium's bytes before `byte` are done with in this phase. True stops the run.
    virtual bool OnPlace(Validator::Phase phase, std::int64_t byte) = 0;
    /// It was not among the findings that were known.
    virtual void OnFinding(const KnownFinding& /*finding*/) {}
    /// From now on `asked`, the index of a validator or behind those a type whose scanner is asked, looks at the place.
    virtual void OnAsk(std::int64_t /*sector*/, std::int32_t /*asked*/) {}
};

struct ValidateRequest {
    std::span<const Validator* const> validators = Validators();
    /// Caps in bytes that the person set, by factory index: a size that has reached one is taken as it is.
    std::map<std::int32_t, std::int64_t> caps;
    /// Findings of an earlier run on the same sightings.
    std::span<const KnownFinding> known;
    std::span<const SetAside> setAside;
    /// Only collects the findings of one phase for the places in these sectors, to be known to a later run; there are
    /// no outcomes. The findings of earlier phases should be known.
    std::optional<SectorRange> ahead;
    /// The phase of `ahead`.
    Validator::Phase phase = Validator::Phase::Structure;
};

struct Validation {
    /// One for each place, ascending by start. Every find is in one of them; refuted starts are not.
    std::vector<Outcome> outcomes;
    /// False if the observer stopped it: outcomes are missing then.
    bool complete = false;
    /// Those who could not be asked somewhere; the scanners' word stands there.
    std::vector<SetAside> setAside;
};

/// The name of a validator, or the scanner of a type, as `ValidateObserver::OnAsk` counts them.
std::string NameOfAsked(std::span<const Validator* const> validators, std::int32_t asked);

/// Finds out for every find and every start which file is there, where it really ends and whether it is whole. A pure
/// function of the medium and of the scan's sightings. It reads a few times the medium's size at most; files that it
/// does not get to keep the scanners' sizes, and their findings say so.
Validation ValidateFinds(Medium& medium, const Sightings& seen, const ValidateRequest& request,
                         ValidateObserver& observer);
/// The same for very many finds: `take` is handed the outcomes one by one, and none is kept.
Validation ValidateFinds(Medium& medium, const Sightings& seen, const ValidateRequest& request,
                         ValidateObserver& observer, const std::function<void(Outcome)>& take);

}  // namespace salvor
