#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "frame/Bytes.h"
#include "frame/RunState.h"
#include "frame/contract/FoundFile.h"
#include "frame/contract/IFoundFileSink.h"
#include "frame/contract/SectorBlock.h"

/// One sector of a block as a scanner sees it.
struct Candidate {
    const SectorBlock& block;
    /// Absolute number of the sector in the stream.
    std::int64_t startSector;
    /// The sector's bytes; empty when the block has no data.
    ByteSpan sector;

    /// Byte offset of the sector in the block.
    std::int64_t OffsetInBlock() const {
        const std::uint64_t index =
            static_cast<std::uint64_t>(startSector) - static_cast<std::uint64_t>(block.firstSector);
        return static_cast<std::int64_t>(index) * block.sectorSize;
    }

    /// The bytes from the sector's start to the end of the block, for fields that reach beyond a small sector.
    ByteSpan RestOfBlock() const {
        const std::int64_t blockBytes = static_cast<std::int64_t>(block.sectorCount) * block.sectorSize;
        return sector.empty() ? sector
                              : ByteSpan(sector.data(), static_cast<std::size_t>(blockBytes - OffsetInBlock()));
    }
};

/// Calls `visit(const Candidate&)` for every sector of the block, in order. Sector numbers wrap around at the end of
/// the 64-bit range.
template <class Visit>
void ForEachSector(const SectorBlock& block, Visit&& visit) {
    // Copies, which stay in registers whatever `visit` calls: this loop runs for every sector and every type.
    const bool hasBytes = block.data != nullptr && block.sectorSize > 0;
    const std::uint8_t* const data = hasBytes ? block.data : nullptr;
    const std::size_t sectorSize = hasBytes ? static_cast<std::size_t>(block.sectorSize) : 0;
    const auto firstSector = static_cast<std::uint64_t>(block.firstSector);
    const auto count = static_cast<std::size_t>(std::max(block.sectorCount, 0));
    for (std::size_t i = 0; i < count; ++i) {
        visit(
            Candidate{block, static_cast<std::int64_t>(firstSector + i), ByteSpan(data + i * sectorSize, sectorSize)});
    }
}

/// Reports {`startSector`, the smaller of `size` and `maxSize`}.
inline void ReportCapped(IFoundFileSink* sink, std::int64_t startSector, std::int64_t size, std::int64_t maxSize) {
    const FoundFile file{startSector, std::min(size, maxSize)};
    sink->ReportFound(&file);
}

/// Opens a run at a header sector.
inline void OpenRun(RunState& run, std::int64_t startSector) {
    run.startSector = startSector;
    run.runLength = 0;
    run.inFile = 1;
}

/// Closes the run; its start stays.
inline void CloseRun(RunState& run) {
    run.runLength = 0;
    run.inFile = 0;
}

/// Reports an open run of at least `minLength` bytes, capped; a shorter one is passed over. The run stays as it is.
inline void ReportOpenRun(const RunState& run, std::int64_t minLength, IFoundFileSink* sink) {
    if (run.inFile != 0 && run.runLength >= minLength) {
        ReportCapped(sink, run.startSector, run.runLength, run.maxSize);
    }
}
