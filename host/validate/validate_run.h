#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/medium/image_spec.h"
#include "host/medium/medium.h"
#include "host/medium/space.h"
#include "host/platform/file_place.h"
#include "host/report/piece.h"
#include "host/validate/validate_finds.h"

namespace salvor {

/// The path of a file that belongs to a finds file: `card.WHAT` beside `card.finds`.
std::string PathBeside(const std::string& findsPath, const std::string& what);

/// Where the outcomes of a finds file stand unless the person says otherwise: `card.outcomes` beside `card.finds`.
std::string OutcomesPathOf(const std::string& findsPath);

struct ValidateHow {
    /// The image from which workers open the medium; if it has no path, and the medium has no descriptors to pass on,
    /// this process looks at the medium itself.
    ImageSpec image;
    /// How many work at the same time; 0 for as many as there are cores.
    int workers = 0;
    bool quiet = false;
    /// Only find out what the formats of the first phase say of a share of the places. No outcomes come of it; a run
    /// without a share takes what it keeps in its file.
    std::optional<Piece> share = {};
    /// The suffix of the outcomes file until it holds everything known before; see `OutcomesWriter`.
    std::string draftSuffix = ".part";
    /// All shares must have been done before.
    bool needsShares = false;
    /// The part of the image that is joined as the medium; null for all.
    std::shared_ptr<const Space> space = nullptr;
};

/// The shares that are kept in a folder beside the outcomes file of this name, as in `card.outcomes.3-of-16`. The
/// folder outlives them.
std::vector<FilePlace> SharesIn(const Folder& folder, const std::string& outcomesName);

/// Validates what a scan has seen, with progress for the person, and writes the outcomes to a file. What that file or
/// those of `earlier` hold of the same sightings is not found out again. The medium is looked at by workers; what one
/// of them falls over is set aside and told to the person. Throws `Failure` when the file cannot be written, workers do
/// not get on, or shares that are needed are missing, which are named.
Validation ValidateWithFile(Medium& medium, const Sightings& seen, const std::map<std::int32_t, std::int64_t>& caps,
                            const FilePlace& place, const std::vector<FilePlace>& earlier, const ValidateHow& how);

/// How many files of each verdict there are, for the person.
std::string OutcomesTable(const Validation& validation);

}  // namespace salvor
