#pragma once

#include <map>
#include <optional>
#include <string>

#include "host/medium/image_spec.h"
#include "host/medium/medium.h"
#include "host/platform/file_place.h"
#include "host/validate/validate_finds.h"

namespace salvor {

/// Where the outcomes of a finds file stand unless the person says otherwise: `card.outcomes` beside `card.finds`.
std::string OutcomesPathOf(const std::string& findsPath);

struct ValidateHow {
    /// The image from which workers open the medium; if it has no path, and the medium has no descriptors to pass on,
    /// this process looks at the medium itself.
    ImageSpec image;
    /// How many work at the same time; 0 for as many as there are cores.
    int workers = 0;
    bool quiet = false;
};

/// Validates what a scan has seen, with progress for the person, and writes the outcomes to a file. What that file or
/// `earlier` holds of the same sightings is not found out again. The medium is looked at by workers; what one of them
/// falls over is set aside and told to the person. Throws `Failure` when the file cannot be written or workers do not
/// get on.
Validation ValidateWithFile(Medium& medium, const Sightings& seen, const std::map<std::int32_t, std::int64_t>& caps,
                            const FilePlace& place, const std::optional<FilePlace>& earlier, const ValidateHow& how);

/// How many files of each verdict there are, for the person.
std::string OutcomesTable(const Validation& validation);

}  // namespace salvor
