#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/medium/image_spec.h"
#include "host/medium/medium.h"
#include "host/medium/space.h"
#include "host/platform/file_place.h"
#include "host/records/piece.h"
#include "host/records/results_place.h"
#include "host/validate/validate_finds.h"

namespace salvor {

/// The path of a file that belongs to a finds file: `card.WHAT` beside `card.finds`.
std::string PathBeside(const std::string& findsPath, const std::string& what);

/// The default path of the outcomes of a finds file: `card.outcomes` beside `card.finds`.
std::string OutcomesPathOf(const std::string& findsPath);

struct ValidateHow {
    /// The image from which workers open the medium. If it has no path, and the medium has no descriptors to pass on,
    /// this process looks at the medium itself.
    ImageSpec image;
    /// The number of workers; 0 for as many as there are cores.
    int workers = 0;
    bool quiet = false;
    /// If set, only collects the findings of first-phase formats for a share of the places. This gives no outcomes; a
    /// run without a share uses what is in the share's file.
    std::optional<Piece> share = {};
    /// The suffix of the outcomes file until it holds everything known before; see `OutcomesWriter`.
    std::string draftSuffix = ".part";
    /// The user's caps in bytes, by factory index.
    std::map<std::int32_t, std::int64_t> caps = {};
    /// Where the clusters of the file systems lie, as far as that is known.
    std::vector<GridStretch> grids = {};
    /// Requires that all shares have been done before.
    bool needsShares = false;
    /// The part of the image that is joined as the medium; null for all.
    std::shared_ptr<const Space> space = nullptr;
    /// Gives the sightings once more. If set, they are dropped while complete outcomes are read, as both may be large.
    std::function<Sightings()> seeAgain = {};
};

/// The shares in a folder beside the outcomes file of this name, such as `card.outcomes.3-of-16`. The folder outlives
/// them.
std::vector<FilePlace> SharesIn(const Folder& folder, const std::string& outcomesName);

/// Validates what a scan has seen, showing progress, and writes the outcomes to a file. Findings that this file or an
/// earlier one has for the same sightings are not made again. Workers look at the medium; a place at which one fails is
/// set aside and the user is informed. Throws `Failure` if the file cannot be written, if workers make no progress, or
/// if needed shares are missing; the message names these.
Validation ValidateWithFile(Medium& medium, Sightings seen, const ResultsPlace& outcomes, const ValidateHow& how);

/// A table of the number of files with each verdict.
std::string OutcomesTable(const Validation& validation);

}  // namespace salvor
