#pragma once

#include <string>

#include "host/validate/validate_finds.h"
#include "host/workers/worker.h"

namespace salvor {

inline constexpr const char* ValidateOrderKind = "validate";

/// The first part of the input of a worker that validates: the sightings. Lines of an outcomes file with known findings
/// follow it.
FileDescriptor ValidateInput(const Sightings& seen);

/// The order's own parameters; everything else is in the input.
Json ValidateParameters(const ValidateRequest& request);

/// Validates in a worker. Sends lines of an outcomes file: new findings, unreadable sectors and, unless it works ahead,
/// finally the outcomes and the summary.
bool ValidateInWorker(Worker& worker);

}  // namespace salvor
