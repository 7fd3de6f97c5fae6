#include "host/validators/finding.h"

#include <FileTypeCatalog.h>

#include <algorithm>
#include <initializer_list>

namespace salvor {

const char* VerdictName(Verdict verdict) {
    switch (verdict) {
        case Verdict::Whole:
            return "whole";
        case Verdict::Open:
            return "open";
        case Verdict::Truncated:
            return "truncated";
        case Verdict::Damaged:
            return "damaged";
        case Verdict::NoFile:
            return "no file";
    }
    return "";
}

std::optional<Verdict> VerdictNamed(const std::string& name) {
    const auto all = {Verdict::Whole, Verdict::Open, Verdict::Truncated, Verdict::Damaged, Verdict::NoFile};
    const auto* const verdict = std::ranges::find(all, name, VerdictName);
    return verdict == all.end() ? std::nullopt : std::optional(*verdict);
}

Finding WithUnreadableBytes(Finding finding) {
    if (finding.verdict == Verdict::Whole || finding.verdict == Verdict::Open) {
        finding.verdict = Verdict::Damaged;
        finding.why = "sectors inside it cannot be read";
    }
    return finding;
}

std::string ExtensionOf(const Finding& finding) {
    return finding.extension.empty() ? FileTypeCatalog[finding.type].extension : finding.extension;
}

}  // namespace salvor
