#include "frame/read/KFileSimulator.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "frame/contract/ISectorSource.h"
#include "frame/read/TraceMessage.h"

// The cache is cleared when it is first filled: most readers stay within the block.
// NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init)
KFileSimulator::KFileSimulator(const SectorBlock* block, std::int64_t baseSector, std::uint64_t lengthHint,
                               Budget* budget)
    : block_(block), baseSector_(baseSector), lengthHint_(lengthHint), budget_(budget) {}

void KFileSimulator::Rebase(std::int64_t baseSector) {
    const std::uint64_t sectors = static_cast<std::uint64_t>(baseSector) - static_cast<std::uint64_t>(baseSector_);
    cacheStart_ -= sectors * static_cast<std::uint64_t>(block_->sectorSize);
    baseSector_ = baseSector;
}

bool KFileSimulator::Skip(std::int64_t delta) {
    position_ = static_cast<std::int64_t>(static_cast<std::uint64_t>(position_) + static_cast<std::uint64_t>(delta));
    return true;
}

bool KFileSimulator::Read(void* buffer, std::uint32_t length) {
    auto* out = static_cast<std::uint8_t*>(buffer);
    std::uint32_t copied = 0;
    if (CanAddress(length)) {
        // Each refill copies nothing and a copy follows it, so length + 1 passes suffice for any read that can succeed.
        for (std::uint64_t pass = 0; copied < length && pass <= length; ++pass) {
            const std::uint32_t amount = CopySome(out + copied, length - copied);
            copied += amount;
            position_ += amount;
            if (amount == 0 && !RefillCache()) {
                break;
            }
        }
    }
    if (copied < length) {
        TraceMessage("Read file failed(%u, %u)!\r\n", copied, length);
        return false;
    }
    return true;
}

std::uint8_t KFileSimulator::ReadByte() {
    std::uint8_t byte = 0;
    return Read(&byte, 1) ? byte : std::uint8_t{0};
}

bool KFileSimulator::CanAddress(std::uint32_t length) const {
    constexpr std::int64_t largest = std::numeric_limits<std::int64_t>::max();
    const std::int32_t sectorSize = block_->sectorSize;
    if (sectorSize < 1 || position_ < 0 || position_ > largest - length) {
        return false;
    }
    // The last refill may reach one cache beyond the sector of the last byte.
    const std::int64_t sectorsToEnd = (position_ + length) / sectorSize;
    const std::int64_t limit = largest - CacheBytes / sectorSize;
    return sectorsToEnd <= limit && baseSector_ <= limit - sectorsToEnd;
}

std::uint32_t KFileSimulator::CopySome(std::uint8_t* out, std::uint32_t remaining) {
    const std::uint32_t fromBlock = CopyFromBlock(out, remaining);
    return fromBlock != 0 ? fromBlock : CopyFromCache(out, remaining);
}

// Serves only reads that reach a further sector; a read that ends in the sector where it starts goes to the cache.
std::uint32_t KFileSimulator::CopyFromBlock(std::uint8_t* out, std::uint32_t remaining) const {
    const std::int64_t sectorSize = block_->sectorSize;
    const std::int64_t sector = baseSector_ + position_ / sectorSize;
    if (block_->data == nullptr || block_->sectorCount < 1 || sector < block_->firstSector) {
        return 0;
    }
    // Unsigned, so that the distance between the two ends of the 64-bit range has a value.
    const std::uint64_t index = static_cast<std::uint64_t>(sector) - static_cast<std::uint64_t>(block_->firstSector);
    if (index >= static_cast<std::uint64_t>(block_->sectorCount)) {
        return 0;
    }
    const std::int64_t offset = position_ % sectorSize;
    const std::int64_t sectorsLeft = block_->sectorCount - static_cast<std::int64_t>(index);
    const std::int64_t sectorsSpanned = std::min((offset + remaining) / sectorSize, sectorsLeft);
    if (sectorsSpanned == 0) {
        return 0;
    }
    const std::int64_t amount = std::min<std::int64_t>(remaining, sectorsSpanned * sectorSize - offset);
    const std::int64_t from = static_cast<std::int64_t>(index) * sectorSize + offset;
    std::memcpy(out, block_->data + from, static_cast<std::size_t>(amount));
    return static_cast<std::uint32_t>(amount);
}

std::uint32_t KFileSimulator::CopyFromCache(std::uint8_t* out, std::uint32_t remaining) const {
    const std::uint64_t offset = static_cast<std::uint64_t>(position_) - cacheStart_;
    if (offset >= cacheLength_) {
        return 0;
    }
    const auto from = static_cast<std::uint32_t>(offset);
    const std::uint32_t amount = std::min(remaining, cacheLength_ - from);
    std::memcpy(out, cache_.data() + from, amount);
    return amount;
}

bool KFileSimulator::RefillCache() {
    const std::int32_t sectorSize = block_->sectorSize;
    const std::int32_t count = CacheBytes / sectorSize;
    if (count == 0 || block_->source == nullptr) {
        return false;
    }
    if (cacheLength_ == 0) {
        cache_.fill(0);
    }
    const std::int64_t sectorIndex = position_ / sectorSize;
    cacheStart_ = static_cast<std::uint64_t>(sectorIndex * sectorSize);
    cacheLength_ = static_cast<std::uint32_t>(count) * static_cast<std::uint32_t>(sectorSize);
    if (budget_ != nullptr) {
        budget_->Charge(cacheLength_);
    }
    block_->source->ReadSectors(baseSector_ + sectorIndex, cache_.data(), count);
    return true;
}
