#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "frame/bytes/PlaceSearch.h"
#include "frame/read/KFileSimulator.h"
#include "frame/scan/SectorScan.h"

/// Searches the medium for a mark in front of which candidates stand, and remembers where none is: the next candidate's
/// search goes on from there, so that many candidates in front of the same stretch search it once.
///
/// `Mark` says how many `Bytes` it has and, in `Difference(bytes)`, gives 0 where it stands and nowhere else.
template <class Mark>
class MarkAhead {
public:
    void Forget() {
        freeFrom_ = freeTo_ = 0;
        isMarkBehind_ = false;
    }

    /// Position in the candidate's file of the first mark among the `count` places from `position` on. `base` is the
    /// place of the file's start, as `ScanOffsets` counts. A read that fails ends the search.
    std::optional<std::int64_t> Find(const Candidate& candidate, std::int64_t base, std::int64_t position,
                                     std::int64_t count) {
        const std::int64_t from = base + position;
        if (from < freeFrom_ || from > freeTo_) {
            freeFrom_ = freeTo_ = from;
            isMarkBehind_ = false;
        }
        if (freeTo_ < from + count && !isMarkBehind_) {
            Search(candidate, base, from + count);
        }
        return isMarkBehind_ && freeTo_ < from + count ? std::optional(freeTo_ - base) : std::nullopt;
    }

private:
    static constexpr std::size_t PiecePlaces = 4096;

    // Extends the free stretch to a mark, or to `end` at least.
    void Search(const Candidate& candidate, std::int64_t base, std::int64_t end) {
        KFileSimulator reader(&candidate.block, candidate.startSector, static_cast<std::uint64_t>(end - base));
        std::array<std::uint8_t, PiecePlaces + Mark::Bytes - 1> piece{};
        while (freeTo_ < end && !isMarkBehind_) {
            reader.Seek(freeTo_ - base);
            if (!reader.Read(piece.data(), piece.size())) {
                return;
            }
            const std::optional<std::size_t> hit =
                FindPlace(piece.data(), 0, PiecePlaces, Mark::Difference, [](std::size_t) { return true; });
            freeTo_ += static_cast<std::int64_t>(hit.value_or(PiecePlaces));
            isMarkBehind_ = hit.has_value();
        }
    }

    // No mark begins from the one place up to the other; whether one begins there is known if it does.
    std::int64_t freeFrom_ = 0;
    std::int64_t freeTo_ = 0;
    bool isMarkBehind_ = false;
};
