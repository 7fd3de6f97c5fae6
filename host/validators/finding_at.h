#pragma once

#include "host/validators/validator.h"

namespace salvor {

/// What a validator finds at a place whose start it accepts, with what any program may have appended.
Finding FindingAt(const Validator& validator, Place& file);

}  // namespace salvor
