#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "frame/bytes/Bytes.h"
#include "host/scan/pair_probes.h"
#include "host/validators/text/text_starts.h"
#include "host/validators/validator.h"

namespace salvor {

/// Looks for the validators' own signatures at sector starts.
class StartFinder {
public:
    /// `sectorSize` in bytes. `mediumBytes` tells how long a partial last sector is.
    StartFinder(std::span<const Validator* const> validators, std::int32_t sectorSize, std::int64_t mediumBytes);

    /// Adds all signatures to the probes that tell which sectors may have one.
    void AddTo(PairProbes& probes) const;

    /// True if, judging by its own bytes, this sector begins a file of some format.
    bool IsStart(ByteSpan sector) const;

    /// Looks at `count` sectors, whose bytes begin at `data`; the first has the number `first`. Parts must ascend
    /// without a gap, since whether a text begins depends on the bytes before. `mayBeStart(bytes)` is asked once for
    /// every sector; false if it has none of the signatures.
    template <class MayBeStart, class TakeStart, class TakeText>
    void Look(const std::uint8_t* data, std::int64_t first, std::int64_t count, MayBeStart&& mayBeStart,
              TakeStart&& takeStart, TakeText&& takeText) {
        const std::uint8_t* bytes = data;
        ByteSpan tail(tail_);
        for (std::int64_t sector = first; sector < first + count; ++sector, bytes += sectorSize_) {
            const ByteSpan shown(bytes, sector < wholeSectors_ ? static_cast<std::size_t>(sectorSize_) : lastBytes_);
            if (mayBeStart(bytes) && IsStart(shown)) {
                takeStart(sector);
            }
            if (MayBeginText(tail, shown)) {
                takeText(sector);
            }
            tail = {bytes + sectorSize_ - PreviousTailBytes, PreviousTailBytes};
        }
        if (count > 0) {
            SetBefore({data + (count - 1) * sectorSize_, static_cast<std::size_t>(sectorSize_)});
        }
    }

    /// Sets the sector before the first one to look at; empty at the medium's start.
    void SetBefore(ByteSpan sector);

private:
    struct Own {
        const Validator* validator;
        StartSignature signature;
    };

    std::int64_t sectorSize_;
    // The medium's last sector may be partial.
    std::int64_t wholeSectors_;
    std::size_t lastBytes_;
    std::vector<Own> signatures_;
    std::vector<std::uint8_t> tail_;
};

}  // namespace salvor
