#include "host/plan/size_rules.h"

#include <fmt/format.h>

#include "host/say/failure.h"
#include "host/say/size_text.h"
#include "host/scan/scanners.h"

namespace salvor {

std::optional<std::int64_t> SizeRule::For(std::int32_t type) const {
    const auto own = forType.find(type);
    return own != forType.end() ? std::optional(own->second) : forAll;
}

SizeRule ParseSizeRule(const std::string& option, const std::vector<std::string>& words) {
    SizeRule rule;
    for (const std::string& word : words) {
        const std::size_t equals = word.find('=');
        const auto size = ParseSize(equals == std::string::npos ? word : word.substr(equals + 1));
        if (!size) {
            throw Failure(ExitStatus::Usage,
                          fmt::format("{}: '{}' is not a size; write for example 64K, 10M or png=1M", option, word));
        }
        if (equals == std::string::npos) {
            rule.forAll = size;
            continue;
        }
        for (const std::int32_t type : RequireTypes(option, word.substr(0, equals))) {
            rule.forType[type] = *size;
        }
    }
    return rule;
}

}  // namespace salvor
