#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <span>
#include <string>
#include <vector>

#include "host/medium/medium.h"
#include "host/scan/scan_session.h"
#include "host/validate/outcome.h"
#include "host/validate/validator.h"

namespace salvor {

/// What was found out at a place in one phase, kept so that a run that was stopped need not find it out again.
struct KnownFinding {
    std::int64_t startSector = 0;
    Validator::Phase phase = Validator::Phase::Structure;
    /// The validator that is believed; empty where the scanner's find is.
    std::string validator;
    Finding finding;
    /// Bytes that were read for it, which count as if they were read again.
    std::int64_t cost = 0;
    bool operator==(const KnownFinding&) const = default;
};

/// What validating tells while it goes on.
class ValidateObserver {
public:
    virtual ~ValidateObserver() = default;
    /// The medium's bytes in front of `byte` are done with in this phase. True stops the run.
    virtual bool OnPlace(Validator::Phase phase, std::int64_t byte) = 0;
    virtual void OnFinding(const KnownFinding& /*finding*/) {}
};

struct ValidateRequest {
    std::span<const Validator* const> validators = Validators();
    /// Caps in bytes that the person set, by factory index: a size that has reached one is taken as it is.
    std::map<std::int32_t, std::int64_t> caps;
    /// Findings of an earlier run on the same sightings.
    std::span<const KnownFinding> known;
};

struct Validation {
    /// By start, one a place. All finds are in one of them; starts that turned out to be none are not.
    std::vector<Outcome> outcomes;
    /// False if the observer stopped it: outcomes are missing then.
    bool complete = false;
};

/// Finds out for every find and every start what file is there, where it really ends and whether it is whole. A pure
/// function of the medium and of what the scan has seen. It reads a few times the medium's size at most; what is behind
/// that keeps the scanners' sizes, and says so.
Validation ValidateFinds(Medium& medium, const Sightings& seen, const ValidateRequest& request,
                         ValidateObserver& observer);

}  // namespace salvor
