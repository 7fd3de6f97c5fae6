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

class BlockReader;

/// Sectors of the medium in memory, valid until the next block.
struct ReadBlock {
    SectorRange sectors;
    const std::uint8_t* data;
    /// The known zeros from this block on, whole blocks that were not read; empty if this block was read.
    SectorRange zeros{};
    /// Reads the sectors of `data`; null if all are there.
    BlockReader* reader = nullptr;

    /// The block's bytes, of which at least the first `count` sectors are there.
    const std::uint8_t* Read(std::int64_t count) const;
};

/// Reads a range of the medium block after block, mostly on a thread of its own, one block ahead of the caller. A plain
/// file, which the system reads ahead by itself, is read piece by piece when the caller gets there: then a piece is
/// still in the second-level cache while it is scanned, and no thread waits for another.
class BlockReader {
public:
    /// `blockSectors` is at least 1. The medium outlives the reader.
    BlockReader(Medium& medium, SectorRange range, std::int64_t blockSectors);
    BlockReader(const BlockReader&) = delete;
    BlockReader& operator=(const BlockReader&) = delete;
    /// Ends the thread, after waiting for the current read.
    ~BlockReader();

    /// The next block; nothing after the last.
    std::optional<ReadBlock> Next();

    /// Skips the zeros of the last block.
    void SkipZeros();

private:
    friend ReadBlock;

    struct Slot {
        std::vector<std::uint8_t> bytes;
        // The number of the block that was read last, -1 for none.
        std::int64_t number = -1;
        // The length of the known zeros from it on, in blocks.
        std::int64_t zeroBlocks = 0;
    };

    void ReadAhead();
    // False if the block consists of known zeros.
    bool MustRead(Slot& slot, std::int64_t number);
    void ReadPieces(std::int64_t count);
    Slot& SlotOf(std::int64_t number) { return slots_[static_cast<std::size_t>(number % 2)]; }
    SectorRange RangeOfBlocks(std::int64_t first, std::int64_t count) const;

    Medium& medium_;
    SectorRange range_;
    std::int64_t blockSectors_;
    std::int64_t blockCount_;
    std::array<Slot, 2> slots_;
    // One block long; empty until it is needed.
    std::vector<std::uint8_t> zeros_;
    std::mutex mutex_;
    std::condition_variable changed_;
    // The block that the caller has or waits for, and the one that it gets next.
    std::int64_t held_ = 0;
    std::int64_t next_ = 0;
    std::int64_t nextBehindZeros_ = 0;
    bool stopping_ = false;
    // Without a thread: how many sectors of the block that the caller has are there.
    std::int64_t readSectors_ = 0;
    // The last member: everything it uses exists before it starts.
    std::thread thread_;
};

inline const std::uint8_t* ReadBlock::Read(std::int64_t count) const {
    if (reader != nullptr && reader->readSectors_ < count) {
        reader->ReadPieces(count);
    }
    return data;
}

}  // namespace salvor
