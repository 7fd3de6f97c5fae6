#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <span>
#include <vector>

#include "host/validate/seldom.h"

namespace salvor {

/// A scanner's claim about a file: the type's factory index and the size in bytes.
struct ReportedClaim {
    std::int32_t type = 0;
    std::int64_t size = 0;
    bool operator==(const ReportedClaim&) const = default;
};

/// The claims of scanners at a place, usually just one: a single claim takes no memory of its own.
class Claims {
public:
    Claims() = default;
    Claims(std::initializer_list<ReportedClaim> claims) {
        for (const ReportedClaim& claim : claims) {
            Add(claim);
        }
    }

    void Add(const ReportedClaim& claim) {
        if (empty()) {
            first_ = claim;
            return;
        }
        std::vector<ReportedClaim>& all = all_.Change();
        if (all.empty()) {
            all.push_back(first_);
        }
        all.push_back(claim);
    }

    const ReportedClaim* begin() const { return All().data(); }
    const ReportedClaim* end() const { return begin() + All().size(); }
    bool empty() const { return first_.type < 0; }
    const ReportedClaim& front() const { return All().front(); }
    const ReportedClaim& back() const { return All().back(); }
    bool operator==(const Claims& other) const { return first_ == other.first_ && all_ == other.all_; }

private:
    std::span<const ReportedClaim> All() const {
        return all_->empty() ? std::span(&first_, empty() ? 0 : std::size_t{1}) : std::span(*all_);
    }

    // No type before the first claim.
    ReportedClaim first_{-1, 0};
    // If there are several: all of them, including the first.
    Seldom<std::vector<ReportedClaim>> all_;
};

}  // namespace salvor
