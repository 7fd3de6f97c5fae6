#pragma once

#include <map>
#include <optional>
#include <string>

#include "host/medium/medium.h"
#include "host/platform/file_place.h"
#include "host/validate/validate_finds.h"

namespace salvor {

/// Where the outcomes of a finds file stand unless the person says otherwise: `card.outcomes` beside `card.finds`.
std::string OutcomesPathOf(const std::string& findsPath);

/// Validates what a scan has seen, with progress for the person, and writes the outcomes to a file. What that file or
/// `earlier` holds of the same sightings is not found out again. Throws `Failure` when the file cannot
/// be written.
Validation ValidateWithFile(Medium& medium, const Sightings& seen, const std::map<std::int32_t, std::int64_t>& caps,
                            const FilePlace& place, const std::optional<FilePlace>& earlier, bool quiet);

/// How many files of each verdict there are, for the person.
std::string OutcomesTable(const Validation& validation);

}  // namespace salvor
