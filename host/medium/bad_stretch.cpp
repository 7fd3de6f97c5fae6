#include "host/medium/bad_stretch.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace salvor {

namespace {

class BadStretchSearch {
public:
    explicit BadStretchSearch(const std::function<bool(std::int64_t)>& canRead) : canRead_(canRead) {}

    SectorRangeSet Run(std::int64_t first, std::int64_t end, bool skipInside) {
        const std::int64_t behind = FindEnd(first, end);
        if (skipInside) {
            bad_.Add({first, behind - first});
            return std::move(bad_);
        }
        constexpr std::int64_t partsOfAStretch = 128;
        leastPart_ = (behind - first + partsOfAStretch - 1) / partsOfAStretch;
        bad_.Add({first, 1});
        for (std::size_t i = 1; i < failed_.size(); ++i) {
            gaps_.push_back({failed_[i - 1], failed_[i]});
        }
        while (!gaps_.empty()) {
            const Gap gap = gaps_.back();
            gaps_.pop_back();
            Split(gap);
        }
        return std::move(bad_);
    }

private:
    // Two unreadable sectors, with untried ones between them.
    struct Gap {
        std::int64_t from;
        std::int64_t to;
    };

    // The first sector after the stretch, as far as single tries show. Keeps the sectors that failed, ascending.
    std::int64_t FindEnd(std::int64_t first, std::int64_t end) {
        failed_.push_back(first);
        std::int64_t readable = end;
        for (std::int64_t step = 1; failed_.back() < end - 1; step *= 2) {
            const std::int64_t sector = std::min(first + step, end - 1);
            if (canRead_(sector)) {
                readable = sector;
                break;
            }
            failed_.push_back(sector);
        }
        while (readable - failed_.back() > 1) {
            const std::int64_t middle = failed_.back() + (readable - failed_.back()) / 2;
            if (canRead_(middle)) {
                readable = middle;
            } else {
                failed_.push_back(middle);
            }
        }
        return readable;
    }

    void Split(Gap gap) {
        const std::int64_t middle = gap.from + (gap.to - gap.from) / 2;
        if (gap.to - gap.from <= leastPart_) {
            bad_.Add({gap.from, gap.to - gap.from + 1});
        } else if (!canRead_(middle)) {
            gaps_.push_back({middle, gap.to});
            gaps_.push_back({gap.from, middle});
        } else {
            gaps_.push_back({Edge(gap.to, middle), gap.to});
            gaps_.push_back({gap.from, Edge(gap.from, middle)});
        }
    }

    // The unreadable sector nearest to `readable`, on the side of `bad`.
    std::int64_t Edge(std::int64_t bad, std::int64_t readable) {
        while (bad - readable > 1 || readable - bad > 1) {
            const std::int64_t middle = bad + (readable - bad) / 2;
            (canRead_(middle) ? readable : bad) = middle;
        }
        return bad;
    }

    const std::function<bool(std::int64_t)>& canRead_;
    std::vector<std::int64_t> failed_;
    std::vector<Gap> gaps_;
    std::int64_t leastPart_ = 1;
    SectorRangeSet bad_;
};

}  // namespace

SectorRangeSet FindBadStretch(std::int64_t first, std::int64_t end, bool skipInside,
                              const std::function<bool(std::int64_t)>& canRead) {
    return BadStretchSearch(canRead).Run(first, end, skipInside);
}

}  // namespace salvor
