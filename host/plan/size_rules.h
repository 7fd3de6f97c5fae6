#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace salvor {

/// A limit on sizes, one for all types and different ones for some.
struct SizeRule {
    std::optional<std::int64_t> forAll;
    /// By factory index; these take precedence.
    std::map<std::int32_t, std::int64_t> forType;

    std::optional<std::int64_t> For(std::int32_t type) const;
};

/// A rule from words like "10K" or "png=1M" (also by index, "46=1M"). Throws `Failure` (usage) that names `option` and
/// the word that makes no sense.
SizeRule ParseSizeRule(const std::string& option, const std::vector<std::string>& words);

}  // namespace salvor
