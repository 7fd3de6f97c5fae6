#include "host/app/selection.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>
#include <string>

#include "host/say/failure.h"
#include "host/scan/scanners.h"

namespace salvor {

namespace {

std::set<std::int32_t> TypesOf(const std::string& option, const std::vector<std::string>& words) {
    std::set<std::int32_t> types;
    for (const std::string& word : words) {
        const std::vector<std::int32_t> named = RequireTypes(option, word);
        types.insert(named.begin(), named.end());
    }
    return types;
}

std::vector<Verdict> VerdictsOf(const std::vector<std::string>& words) {
    std::vector<Verdict> verdicts;
    for (const std::string& word : words) {
        if (const auto verdict = VerdictNamed(word)) {
            verdicts.push_back(*verdict);
        }
    }
    return verdicts;
}

}  // namespace

std::vector<std::int32_t> SelectTypes(const FilterOptions& options) {
    const std::set<std::int32_t> wanted = TypesOf("--types", options.types);
    const std::set<std::int32_t> excluded = TypesOf("--exclude", options.exclude);
    std::vector<std::int32_t> selected;
    std::ranges::copy_if(AllTypes(), std::back_inserter(selected), [&](std::int32_t type) {
        return (wanted.empty() || wanted.contains(type)) && !excluded.contains(type);
    });
    if (selected.empty()) {
        throw Failure(ExitStatus::Usage, "--types and --exclude leave no type to look for");
    }
    return selected;
}

PlanFilter MakeFilter(const FilterOptions& options) {
    PlanFilter filter;
    filter.types = SelectTypes(options);
    if (options.noText) {
        std::erase_if(filter.types, IsPlainTextType);
    }
    filter.minSize = ParseSizeRule("--min-size", options.minSize);
    filter.maxSize = ParseSizeRule("--max-size", options.maxSize);
    filter.only = VerdictsOf(options.only);
    filter.withEmbedded = options.withEmbedded;
    filter.asReported = options.asReported;
    filter.allClaims = options.all;
    return filter;
}

}  // namespace salvor
