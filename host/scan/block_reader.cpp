#include "host/scan/block_reader.h"

#include <algorithm>

namespace salvor {

BlockReader::BlockReader(Medium& medium, SectorRange range, std::int64_t blockSectors)
    : medium_(medium),
      range_(range),
      blockSectors_(blockSectors),
      blockCount_((range.count + blockSectors - 1) / blockSectors) {
    const std::int64_t largest = std::min(blockSectors, range.count);
    for (auto& buffer : buffers_) {
        buffer.resize(static_cast<std::size_t>(largest * medium.SectorSize()));
    }
    thread_ = std::thread([this] { ReadAhead(); });
}

BlockReader::~BlockReader() {
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    changed_.notify_all();
    thread_.join();
}

std::optional<ReadBlock> BlockReader::Next() {
    std::unique_lock lock(mutex_);
    blocksReleased_ = blocksTaken_;
    changed_.notify_all();
    if (blocksTaken_ == blockCount_) {
        return std::nullopt;
    }
    changed_.wait(lock, [this] { return blocksRead_ > blocksTaken_; });
    const std::int64_t number = blocksTaken_++;
    return ReadBlock{RangeOfBlock(number), buffers_[static_cast<std::size_t>(number % 2)].data()};
}

void BlockReader::ReadAhead() {
    for (std::int64_t number = 0; number < blockCount_; ++number) {
        {
            std::unique_lock lock(mutex_);
            changed_.wait(lock, [&] { return stopping_ || number < blocksReleased_ + 2; });
            if (stopping_) {
                return;
            }
        }
        const SectorRange sectors = RangeOfBlock(number);
        medium_.Read(sectors.first, buffers_[static_cast<std::size_t>(number % 2)].data(), sectors.count);
        {
            const std::lock_guard lock(mutex_);
            blocksRead_ = number + 1;
        }
        changed_.notify_all();
    }
}

SectorRange BlockReader::RangeOfBlock(std::int64_t number) const {
    const std::int64_t offset = number * blockSectors_;
    return {range_.first + offset, std::min(blockSectors_, range_.count - offset)};
}

}  // namespace salvor
