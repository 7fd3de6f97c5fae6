#pragma once

#include <string>

#include "host/validate/validate_finds.h"
#include "host/workers/worker.h"

namespace salvor {

inline constexpr const char* ValidateOrderKind = "validate";

/// What a worker that validates is told: the sightings. Lines of an outcomes file with what is known stand behind them.
std::string ValidateInput(const Sightings& seen);

/// The order's own parameters; the input holds the rest.
Json ValidateParameters(const ValidateRequest& request);

/// Validates in a worker. Sends lines of an outcomes file: findings that were not known, sectors that cannot be read,
/// and in the end, unless it works ahead, outcomes and summary.
bool ValidateInWorker(Worker& worker);

}  // namespace salvor
