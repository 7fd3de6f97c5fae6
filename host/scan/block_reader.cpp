#include "host/scan/block_reader.h"

#include <algorithm>

namespace salvor {

BlockReader::BlockReader(Medium& medium, SectorRange range, std::int64_t blockSectors)
    : medium_(medium),
      range_(range),
      blockSectors_(blockSectors),
      blockCount_((range.count + blockSectors - 1) / blockSectors) {
    const std::int64_t largest = std::min(blockSectors, range.count);
    for (Slot& slot : slots_) {
        slot.bytes.resize(static_cast<std::size_t>(largest * medium.SectorSize()));
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
    held_ = next_;
    changed_.notify_all();
    if (next_ >= blockCount_) {
        return std::nullopt;
    }
    const std::int64_t number = next_;
    const Slot& slot = SlotOf(number);
    changed_.wait(lock, [&] { return slot.number == number; });
    ++next_;
    nextBehindZeros_ = number + std::max<std::int64_t>(slot.zeroBlocks, 1);
    return ReadBlock{RangeOfBlocks(number, 1), slot.zeroBlocks > 0 ? zeros_.data() : slot.bytes.data(),
                     RangeOfBlocks(number, slot.zeroBlocks)};
}

void BlockReader::SkipZeros() {
    const std::lock_guard lock(mutex_);
    next_ = std::max(next_, nextBehindZeros_);
}

void BlockReader::ReadAhead() {
    std::unique_lock lock(mutex_);
    for (std::int64_t number = 0;; ++number) {
        changed_.wait(lock, [&] {
            number = std::max(number, next_);
            return stopping_ || number >= blockCount_ || number < held_ + 2;
        });
        if (stopping_ || number >= blockCount_) {
            return;
        }
        lock.unlock();
        ReadInto(SlotOf(number), number);
        lock.lock();
        SlotOf(number).number = number;
        changed_.notify_all();
    }
}

void BlockReader::ReadInto(Slot& slot, std::int64_t number) {
    const SectorRange sectors = RangeOfBlocks(number, 1);
    const std::int64_t zeroSectors = medium_.ZeroSectorsFrom(sectors.first);
    slot.zeroBlocks = 0;
    if (zeroSectors < sectors.count) {
        medium_.Read(sectors.first, slot.bytes.data(), sectors.count);
        return;
    }
    zeros_.resize(slot.bytes.size());
    const std::int64_t left = range_.first + range_.count - sectors.first;
    slot.zeroBlocks = zeroSectors >= left ? blockCount_ - number : zeroSectors / blockSectors_;
}

SectorRange BlockReader::RangeOfBlocks(std::int64_t first, std::int64_t count) const {
    const std::int64_t offset = first * blockSectors_;
    return {range_.first + offset, std::min(count * blockSectors_, range_.count - offset)};
}

}  // namespace salvor
