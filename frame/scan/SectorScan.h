#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <type_traits>

#include "frame/bytes/Bytes.h"
#include "frame/bytes/SectorFilter.h"
#include "frame/contract/FoundFile.h"
#include "frame/contract/IFoundFileSink.h"
#include "frame/contract/IPassingScanner.h"
#include "frame/contract/SectorBlock.h"
#include "frame/read/Candidate.h"
#include "frame/scan/RunState.h"

/// The sectors of a block. It copies the block's fields so that they stay in registers across calls, since every type
/// looks at every sector.
class BlockSectors {
public:
    explicit BlockSectors(const SectorBlock& block)
        : block_(block),
          firstSector_(static_cast<std::uint64_t>(block.firstSector)),
          count_(static_cast<std::size_t>(std::max(block.sectorCount, 0))) {
        if (block.data != nullptr && block.sectorSize > 0) {
            data_ = block.data;
            sectorSize_ = static_cast<std::size_t>(block.sectorSize);
        }
    }

    std::size_t Count() const { return count_; }

    /// Sector numbers wrap around at the end of the 64-bit range.
    Candidate At(std::size_t index) const {
        return {block_, static_cast<std::int64_t>(firstSector_ + index),
                ByteSpan(data_ + index * sectorSize_, sectorSize_)};
    }

    /// The first sector from `index` on that the filter matches, or the count. Sectors too small to be tested pass.
    template <class Filter>
    std::size_t NextWith(const Filter& filter, std::size_t index) const {
        if (filter.Reach() > sectorSize_) {
            return index;
        }
        const std::uint8_t* const sectors = data_ + index * sectorSize_;
        if constexpr (requires { filter.FirstIn(sectors, sectorSize_, count_); }) {
            return index + filter.FirstIn(sectors, sectorSize_, count_ - index);
        } else {
            return index + FirstSectorThat(sectors, sectorSize_, count_ - index,
                                           [&filter](const std::uint8_t* sector) { return filter.Matches(sector); });
        }
    }

private:
    const SectorBlock& block_;
    const std::uint8_t* data_ = nullptr;
    std::size_t sectorSize_ = 0;
    std::uint64_t firstSector_;
    std::size_t count_;
};

/// Calls `visit(const Candidate&)` for the sectors of the block in order: for those that the filter matches, and for
/// all of them while `isInFile()`. A filter has `Reach()`, the bytes it looks at, and `Matches(sector)`, the cheap
/// test; see `SectorFilter`. Sectors with fewer bytes always match.
template <class Filter, class IsInFile, class Visit>
void ForEachSector(const SectorBlock& block, const Filter& filter, IsInFile&& isInFile, Visit&& visit) {
    const BlockSectors sectors(block);
    for (std::size_t i = 0; i < sectors.Count(); ++i) {
        if (!isInFile()) {
            i = sectors.NextWith(filter, i);
            if (i == sectors.Count()) {
                return;
            }
        }
        visit(sectors.At(i));
    }
}

/// The same for a scanner that keeps no file open.
template <class Filter, class Visit>
void ForEachSector(const SectorBlock& block, const Filter& filter, Visit&& visit) {
    ForEachSector(
        block, filter, [] { return false; }, visit);
}

/// The filter of a type: its `Filter`, or else the start of its `Signature`.
template <class Type>
constexpr decltype(auto) FilterOf([[maybe_unused]] const Type& type) {
    if constexpr (requires { type.Filter(); }) {
        return type.Filter();
    } else if constexpr (requires { Type::Filter; }) {
        return (Type::Filter);
    } else {
        return SectorFilterOf(Type::Signature);
    }
}

/// The words of a filter, as `IPassingScanner` asks for them; none for filters of another kind.
inline std::int32_t HeaderWordsOf(std::span<const SectorFilter> filters, HeaderWord* words, std::int32_t capacity) {
    const auto count = static_cast<std::int32_t>(filters.size());
    for (std::size_t i = 0; i < filters.size() && static_cast<std::int32_t>(i) < capacity; ++i) {
        words[i] = {static_cast<std::uint32_t>(filters[i].Place()), filters[i].Mask(), filters[i].Value()};
    }
    return count;
}
template <class Filter>
std::int32_t HeaderWordsOf([[maybe_unused]] const Filter& filter, HeaderWord* words, std::int32_t capacity) {
    if constexpr (std::is_same_v<Filter, SectorFilter>) {
        return HeaderWordsOf(std::span(&filter, 1), words, capacity);
    } else if constexpr (requires { filter.words; }) {
        return HeaderWordsOf(std::span<const SectorFilter>(filter.words), words, capacity);
    } else {
        return 0;
    }
}

/// Does a file of this type begin in the sector? It has `MinSectorBytes` or more, begins with `Signature`, and
/// `IsHeader(sector)` accepts it; members that the type does not have are not tested.
template <class Type>
bool BeginsFile(Type& type, ByteSpan sector) {
    constexpr bool hasSignature = requires { Type::Signature; };
    constexpr bool hasTest = requires { type.IsHeader(sector); };
    static_assert(hasSignature || hasTest);
    if constexpr (requires { Type::MinSectorBytes; }) {
        if (sector.size() < Type::MinSectorBytes) {
            return false;
        }
    }
    if constexpr (hasSignature) {
        if (!StartsWith(sector, Type::Signature)) {
            return false;
        }
    }
    if constexpr (hasTest) {
        return type.IsHeader(sector);
    }
    return true;
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

/// Reports an open run of at least `minLength` bytes, capped. The run stays as it is.
inline void ReportOpenRun(const RunState& run, std::int64_t minLength, IFoundFileSink* sink) {
    if (run.inFile != 0 && run.runLength >= minLength) {
        ReportCapped(sink, run.startSector, run.runLength, run.maxSize);
    }
}
