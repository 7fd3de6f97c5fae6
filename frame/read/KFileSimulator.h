#pragma once

#include <array>
#include <cstdint>

#include "frame/contract/SectorBlock.h"
#include "frame/read/Budget.h"

/// Reads a candidate file as if it were an ordinary file that starts at an absolute sector of the stream.
///
/// Bytes of the current block are copied from it where a read reaches into a further sector; all others come through
/// the block's `source` into a cache of 32 KiB of whole sectors, so that a walk forwards costs one host call per
/// 32 KiB. The block is borrowed and outlives the reader. Nothing is read outside the block's bytes, the cache and the
/// caller's buffer, whatever the position.
class KFileSimulator {
public:
    static constexpr std::int32_t CacheBytes = 32768;

    /// True if every read on the medium succeeds. Without a source, or with sectors larger than the cache, reads inside
    /// one sector fail, and so does the first read of any candidate.
    static bool Serves(const SectorBlock& block) { return block.source != nullptr && block.sectorSize <= CacheBytes; }

    /// `lengthHint` never bounds a read. The budget, if any, is charged with the bytes that the source delivers; it
    /// outlives the reader.
    KFileSimulator(const SectorBlock* block, std::int64_t baseSector, std::uint64_t lengthHint,
                   Budget* budget = nullptr);
    KFileSimulator(const KFileSimulator&) = default;
    KFileSimulator& operator=(const KFileSimulator&) = default;
    virtual ~KFileSimulator() = default;

    /// Reads another candidate of the same block from now on; the cache stays.
    void Rebase(std::int64_t baseSector);

    /// The same for another block of the medium, of the same sector size.
    void Rebase(const SectorBlock& block, std::int64_t baseSector) {
        block_ = &block;
        Rebase(baseSector);
    }

    /// Sets the byte position, counted from the start of the base sector. Any value is allowed; a read from a negative
    /// position fails.
    void Seek(std::int64_t position) { position_ = position; }

    std::int64_t Tell() const { return position_; }

    std::uint64_t LengthHint() const { return lengthHint_; }

    /// Moves the position by `delta` bytes, wrapping around at the ends of the 64-bit range. Always true.
    bool Skip(std::int64_t delta);

    /// Copies `length` bytes from the position on and advances the position by what was copied. True only if all were
    /// copied. A negative position, or one whose sector or byte numbers leave the 64-bit range, copies nothing.
    bool Read(void* buffer, std::uint32_t length);

    /// One byte; 0 if the read fails.
    std::uint8_t ReadByte();

private:
    bool CanAddress(std::uint32_t length) const;
    std::uint32_t CopySome(std::uint8_t* out, std::uint32_t remaining);
    std::uint32_t CopyFromBlock(std::uint8_t* out, std::uint32_t remaining) const;
    std::uint32_t CopyFromCache(std::uint8_t* out, std::uint32_t remaining) const;
    bool RefillCache();

    const SectorBlock* block_;
    std::int64_t baseSector_;
    std::int64_t position_ = 0;
    std::uint64_t lengthHint_;
    Budget* budget_;
    std::array<std::uint8_t, CacheBytes> cache_;
    // Modulo 2^64: the cache may begin before the base sector.
    std::uint64_t cacheStart_ = 0;
    std::uint32_t cacheLength_ = 0;
};
