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

    /// The next block, nothing behind the last. Its bytes stay until the next call.
    std::optional<ReadBlock> Next();

private:
    void ReadAhead();
    SectorRange RangeOfBlock(std::int64_t number) const;

    Medium& medium_;
    SectorRange range_;
    std::int64_t blockSectors_;
    std::int64_t blockCount_;
    // Block n lives in buffer n modulo 2.
    std::array<std::vector<std::uint8_t>, 2> buffers_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::int64_t blocksRead_ = 0;
    // Blocks whose bytes the caller has given back.
    std::int64_t blocksReleased_ = 0;
    std::int64_t blocksTaken_ = 0;
    bool stopping_ = false;
    // The last member: everything it uses exists before it starts.
    std::thread thread_;
};

}  // namespace salvor
