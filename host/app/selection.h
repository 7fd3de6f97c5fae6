#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/files/content_filter.h"
#include "host/plan/plan.h"

namespace salvor {

/// Which finds to write as files, as the user gave it. `types` and `exclude` limit a scan too.
struct FilterOptions {
    std::vector<std::string> types;
    std::vector<std::string> exclude;
    std::vector<std::string> minSize;
    std::vector<std::string> maxSize;
    /// Names of verdicts.
    std::vector<std::string> only;
    bool noText = false;
    bool withEmbedded = false;
    bool all = false;
    bool asReported = false;
    /// "640x480"; empty for all.
    std::string minPixels;
    /// "2019-05..2019-08"; empty for all.
    std::string taken;
    bool unique = false;
    /// Files with lists of hashes.
    std::vector<std::string> known;
};

/// The types that `--types` and `--exclude` leave, ascending. Throws `Failure` (usage) for an unknown word and for a
/// selection without a type.
std::vector<std::int32_t> SelectTypes(const FilterOptions& options);

/// The same with the size rules. Throws `Failure` (usage) for values that cannot be understood.
PlanFilter MakeFilter(const FilterOptions& options);

/// The filters that need a file's bytes. Reads the lists of hashes; throws `Failure` for a file that is not one.
ContentFilter MakeContentFilter(const FilterOptions& options);

}  // namespace salvor
