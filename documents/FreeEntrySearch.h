#pragma once

#include <cstdint>
#include <optional>

#include "frame/bytes/Bytes.h"
#include "frame/scan/SectorScan.h"

/// Reads the entries of allocation tables up to the first free one. It remembers the stretch that it has read last, so
/// that many candidates in front of the same entries cost little more than one.
class FreeEntrySearch {
public:
    /// Bytes of the entries that stand for sectors of the table itself, between an offset from the start of the
    /// candidate's sector and the first free entry; nothing if none is free in the `limit` bytes from there on.
    std::optional<std::int64_t> TableBytes(const Candidate& candidate, std::int64_t offset, std::int64_t limit);

private:
    // What a piece of the table holds: the bytes in front of its first free entry, and how many of them belong to
    // entries of table sectors.
    struct Count {
        std::int64_t inFront = 0;
        std::int64_t ofTable = 0;
    };
    static Count CountEntries(ByteSpan piece);

    void MoveTo(const Candidate& candidate, std::int64_t offset);

    // Places are bytes, counted from the start of this sector.
    std::int64_t baseSector_ = 0;
    // No entry from `from_` on and before `to_` is free; these bytes belong to entries of table sectors.
    std::int64_t from_ = 0;
    std::int64_t to_ = -1;
    std::int64_t tableBytes_ = 0;
    // The entry at `to_` is free.
    bool isFreeBehind_ = false;
};
