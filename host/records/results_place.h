#pragma once

#include <vector>

#include "host/platform/file_place.h"

namespace salvor {

/// The file in which a step keeps its results.
struct ResultsPlace {
    FilePlace place;
    /// Others that may hold the same results already; these are only read.
    std::vector<FilePlace> earlier = {};
};

}  // namespace salvor
