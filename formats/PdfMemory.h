#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "frame/scan/PlacedMemory.h"

/// Where certain marks begin in the stretch of the medium that walks searched last. Places are those of `ScanOffsets`.
class SearchedPlaces {
public:
    /// Keeps at least half as many places.
    explicit SearchedPlaces(std::size_t mostPlaces) : mostPlaces_(mostPlaces) {}

    /// The end of the searched stretch around `place`; `place` itself where there is none.
    std::int64_t SearchedTo(std::int64_t place) const { return from_ <= place && place < to_ ? to_ : place; }

    /// The first place at or after `place` in the searched stretch.
    std::optional<std::int64_t> FirstFrom(std::int64_t place) const {
        const auto first = std::ranges::lower_bound(places_, place);
        return first == places_.end() ? std::nullopt : std::optional(*first);
    }

    /// Those of the searched stretch from `from` on and before `to`, in ascending order; valid until the next `Note`.
    std::span<const std::int64_t> Between(std::int64_t from, std::int64_t to) const {
        const auto first = std::ranges::lower_bound(places_, from);
        return {first, std::ranges::lower_bound(first, places_.end(), to)};
    }

    /// Between `from` and `to` no mark begins, except at `found`.
    void Note(std::int64_t from, std::int64_t to, std::optional<std::int64_t> found) {
        if (from < from_ || from > to_) {
            from_ = from;
            to_ = from;
            places_.clear();
        }
        to_ = std::max(to_, to);
        if (found && (places_.empty() || places_.back() < *found)) {
            places_.push_back(*found);
        }
        if (places_.size() > mostPlaces_) {
            // Later walks begin further on.
            const auto middle = places_.begin() + static_cast<std::ptrdiff_t>(mostPlaces_ / 2);
            from_ = *middle;
            places_.erase(places_.begin(), middle);
        }
    }

    /// Notes all marks from `from` on and before `end`. `forEach(first, end, visit)` calls `visit(place)` for each that
    /// begins from `first` on and before `end`, in order.
    template <class ForEach>
    void NoteAll(std::int64_t from, std::int64_t end, ForEach forEach) {
        std::int64_t to = SearchedTo(from);
        if (to < end) {
            forEach(to, end, [&](std::int64_t place) {
                Note(to, place + 1, place);
                to = place + 1;
            });
            Note(to, end, std::nullopt);
        }
    }

    /// The first mark from `from` on and before `end`; notes those that are not known yet, up to some way behind it.
    template <class ForEach>
    std::optional<std::int64_t> Find(std::int64_t from, std::int64_t end, ForEach forEach) {
        constexpr std::int64_t aheadBytes = 1024;
        for (;;) {
            const std::int64_t to = SearchedTo(from);
            const std::optional<std::int64_t> found = to > from ? FirstFrom(from) : std::nullopt;
            if (found || to >= end) {
                return found && *found < end ? found : std::nullopt;
            }
            NoteAll(from, std::min(to + aheadBytes, end), forEach);
        }
    }

    void Clear() {
        from_ = 0;
        to_ = 0;
        places_.clear();
    }

private:
    std::size_t mostPlaces_;
    std::int64_t from_ = 0;
    std::int64_t to_ = 0;
    // In ascending order.
    std::vector<std::int64_t> places_;
};

/// What stands in bytes that do not change: those of the current block, or of one piece of a window.
struct PdfSigns {
    /// More than one piece can have of them.
    static constexpr std::size_t MostPlaces = 4096;

    /// Headers at sector starts.
    SearchedPlaces headers{MostPlaces};
    /// The words before the offsets of cross-reference sections.
    SearchedPlaces words{MostPlaces};
    SearchedPlaces ends{MostPlaces};
    SearchedPlaces keys{MostPlaces};

    void Clear() {
        for (SearchedPlaces* const places : {&headers, &words, &ends, &keys}) {
            places->Clear();
        }
    }
};

/// What the walks of a scan share: where the ends of files and the keys of drawings begin. Many headers before one
/// stretch of the medium then search it once.
class PdfMemory : public PlacedMemory {
public:
    void EnterBlock(const SectorBlock& block) {
        if (!PlacedMemory::EnterBlock(block)) {
            ends.Clear();
            keys.Clear();
        }
        inBlock.Clear();
    }

    static constexpr std::size_t MostPlaces = 1024;
    SearchedPlaces ends{MostPlaces};
    SearchedPlaces keys{MostPlaces};
    PdfSigns inBlock;
};
