#pragma once

#include <FileTypeCatalog.h>
#include <SectorBlock.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>

namespace salvor {

/// Bytes that one scanner after another gets. Each looks at the first bytes of every sector. In a slice of this size,
/// these stay in a first-level cache of 32 KiB until all scanners are done, with room to spare; with larger blocks
/// every scanner would wait for the second level.
inline constexpr std::int64_t SliceBytes = std::int64_t{28} << 10;

/// Brings bytes close to the processor piece by piece, so that the next reader need not wait for the memory.
class Prefetch {
public:
    /// Brings all bytes within this many steps. With very few steps it brings none: they would prefetch more than is
    /// looked at.
    Prefetch(const std::uint8_t* bytes, std::int64_t count, std::size_t steps)
        : next_(bytes),
          end_(steps < FewestSteps ? bytes : bytes + count),
          linesPerStep_(1 + count / LineBytes / static_cast<std::int64_t>(std::max(steps, FewestSteps))) {}

    void Step() {
        for (std::int64_t lines = 0; lines < linesPerStep_ && next_ < end_; ++lines) {
            // For reading, into the second-level cache.
            __builtin_prefetch(next_, 0, 2);
            next_ += std::min<std::int64_t>(LineBytes, end_ - next_);
        }
    }

private:
    static constexpr std::int64_t LineBytes = 64;
    static constexpr std::size_t FewestSteps = 32;

    const std::uint8_t* next_;
    const std::uint8_t* end_;
    std::int64_t linesPerStep_;
};

/// Lets scanners look at a block: `scan(scanner, part)` gets one part after another. Parts are slices, except for types
/// whose finds depend on where blocks end: these get the whole block. `typeOf(scanner)` is the scanner's factory index.
/// `enter(slice)` gets every slice first, and returns the scanners that are to see it. `isNear`: the bytes have just
/// been read by this thread.
template <class Scanners, class TypeOf, class Enter, class Scan>
void ScanInSlices(const SectorBlock& block, const Scanners& scanners, TypeOf&& typeOf, Enter&& enter, Scan&& scan,
                  bool isNear = false) {
    const auto needsWholeBlock = [&](const auto& scanner) {
        return FileTypeCatalog[typeOf(scanner)].dependsOnBlocks;
    };
    const std::int32_t sliceSectors = std::max(static_cast<std::int32_t>(SliceBytes / block.sectorSize), 1);
    for (std::int32_t first = 0; first < block.sectorCount;) {
        const auto sliceAt = [&](std::int32_t at) {
            return SectorBlock{block.firstSector + at, block.data + std::int64_t{at} * block.sectorSize,
                               std::min(sliceSectors, block.sectorCount - at), block.sectorSize, block.source};
        };
        const SectorBlock slice = sliceAt(first);
        first += slice.sectorCount;
        const SectorBlock behind = sliceAt(first);
        const Scanners& shown = enter(slice);
        Prefetch prefetch(behind.data, std::int64_t{behind.sectorCount} * block.sectorSize,
                          isNear ? 0 : std::size(shown));
        for (const auto& scanner : shown) {
            if (!needsWholeBlock(scanner)) {
                scan(scanner, slice);
                prefetch.Step();
            }
        }
    }
    for (const auto& scanner : scanners) {
        if (needsWholeBlock(scanner)) {
            scan(scanner, block);
        }
    }
}

}  // namespace salvor
