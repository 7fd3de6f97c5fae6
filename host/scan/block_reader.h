#pragma once

#include <array>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

#include "host/medium/medium.h"

namespace salvor {

/// Sectors of the medium in memory.
struct ReadBlock {
    SectorRange sectors;
    const std::uint8_t* data;
    /// This block and those after it that are known to be zeros without having been read; empty if this one was read.
    SectorRange zeros{};
};

/// Reads a range of the medium block after block on a thread of its own, one block ahead of the caller.
class BlockReader {
public:
    /// `blockSectors` is at least 1. The medium outlives the reader.
    BlockReader(Medium& medium, SectorRange range, std::int64_t blockSectors);
    BlockReader(const BlockReader&) = delete;
    BlockReader& operator=(const BlockReader&) = delete;
    /// Ends the thread; a read that is under way is waited for.
    ~BlockReader();

    /// The next block, nothing after the last. Its bytes stay until the next call.
    std::optional<ReadBlock> Next();

    /// Goes on after the zeros of the last block given.
    void SkipZeros();

private:
    struct Slot {
        std::vector<std::uint8_t> bytes;
        // The block that was read last, -1 for none.
        std::int64_t number = -1;
        // Known zeros from it on, in blocks.
        std::int64_t zeroBlocks = 0;
    };

    void ReadAhead();
    void ReadInto(Slot& slot, std::int64_t number);
    Slot& SlotOf(std::int64_t number) { return slots_[static_cast<std::size_t>(number % 2)]; }
    SectorRange RangeOfBlocks(std::int64_t first, std::int64_t count) const;

    Medium& medium_;
    SectorRange range_;
    std::int64_t blockSectors_;
    std::int64_t blockCount_;
    std::array<Slot, 2> slots_;
    // As long as a block; empty until it is needed.
    std::vector<std::uint8_t> zeros_;
    std::mutex mutex_;
    std::condition_variable changed_;
    // The block that the caller looks at or waits for, and the one that it gets next.
    std::int64_t held_ = 0;
    std::int64_t next_ = 0;
    std::int64_t nextBehindZeros_ = 0;
    bool stopping_ = false;
    // The last member: everything it uses exists before it starts.
    std::thread thread_;
};

}  // namespace salvor
