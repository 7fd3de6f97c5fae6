#include "host/scan/block_reader.h"

#include <algorithm>

namespace salvor {

BlockReader::BlockReader(Medium& medium, SectorRange range, std::int64_t blockSectors)
    : medium_(medium),
      range_(range),
      blockSectors_(blockSectors),
      blockCount_((range.count + blockSectors - 1) / blockSectors) {
    const auto largest = static_cast<std::size_t>(std::min(blockSectors, range.count) * medium.SectorSize());
    slots_[0].bytes.resize(largest);
    if (!medium.CopySource()) {
        slots_[1].bytes.resize(largest);
        thread_ = std::thread([this] { ReadAhead(); });
    }
}

BlockReader::~BlockReader() {
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    changed_.notify_all();
    if (thread_.joinable()) {
        thread_.join();
    }
}

std::optional<ReadBlock> BlockReader::Next() {
    std::unique_lock lock(mutex_);
    held_ = next_;
    changed_.notify_all();
    if (next_ >= blockCount_) {
        return std::nullopt;
    }
    const std::int64_t number = next_;
    const bool isThreaded = thread_.joinable();
    Slot& slot = isThreaded ? SlotOf(number) : slots_[0];
    if (isThreaded) {
        changed_.wait(lock, [&] { return slot.number == number; });
    } else {
        readSectors_ = MustRead(slot, number) ? 0 : blockSectors_;
    }
    ++next_;
    nextBehindZeros_ = number + std::max<std::int64_t>(slot.zeroBlocks, 1);
    return ReadBlock{RangeOfBlocks(number, 1), slot.zeroBlocks > 0 ? zeros_.data() : slot.bytes.data(),
                     RangeOfBlocks(number, slot.zeroBlocks), isThreaded ? nullptr : this};
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
        Slot& slot = SlotOf(number);
        if (MustRead(slot, number)) {
            const SectorRange sectors = RangeOfBlocks(number, 1);
            medium_.Read(sectors.first, slot.bytes.data(), sectors.count);
        }
        lock.lock();
        slot.number = number;
        changed_.notify_all();
    }
}

bool BlockReader::MustRead(Slot& slot, std::int64_t number) {
    const SectorRange sectors = RangeOfBlocks(number, 1);
    const std::int64_t zeroSectors = medium_.ZeroSectorsFrom(sectors.first);
    slot.zeroBlocks = 0;
    if (zeroSectors < sectors.count) {
        return true;
    }
    zeros_.resize(slot.bytes.size());
    const std::int64_t left = range_.first + range_.count - sectors.first;
    slot.zeroBlocks = zeroSectors >= left ? blockCount_ - number : zeroSectors / blockSectors_;
    return false;
}

void BlockReader::ReadPieces(std::int64_t count) {
    constexpr std::int64_t pieceBytes = std::int64_t{128} << 10;
    const std::int64_t piece = std::max<std::int64_t>(pieceBytes / medium_.SectorSize(), 1);
    const SectorRange sectors = RangeOfBlocks(next_ - 1, 1);
    while (readSectors_ < count) {
        const std::int64_t size = std::min(piece, sectors.count - readSectors_);
        medium_.Read(sectors.first + readSectors_, slots_[0].bytes.data() + readSectors_ * medium_.SectorSize(), size);
        readSectors_ += size;
    }
}

SectorRange BlockReader::RangeOfBlocks(std::int64_t first, std::int64_t count) const {
    const std::int64_t offset = first * blockSectors_;
    return {range_.first + offset, std::min(count * blockSectors_, range_.count - offset)};
}

}  // namespace salvor
