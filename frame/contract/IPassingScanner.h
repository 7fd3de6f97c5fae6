#pragma once

#include <cstdint>

/// Four bytes that a header has at one place of its sector: `bytes & mask == value`, loaded as the machine stores them.
struct HeaderWord {
    std::uint32_t place;
    std::uint32_t mask;
    std::uint32_t value;
};

/// Tells which sectors a scanner need not see. Every scanner of the factory has this interface, and `dynamic_cast`
/// finds it.
class IPassingScanner {
public:
    IPassingScanner() = default;
    IPassingScanner(const IPassingScanner&) = delete;
    IPassingScanner& operator=(const IPassingScanner&) = delete;

    /// Stores up to `capacity` words and returns how many there are; 0 if the scanner must see every sector. While it
    /// is at rest (`IRestingScanner`), blocks without a sector that has one of the words can be left out: it would
    /// report nothing and stay at rest. Sectors that end before a word must be shown.
    virtual std::int32_t GetHeaderWords(HeaderWord* words, std::int32_t capacity) const = 0;

    /// True if a long run of zeros only makes an open file longer.
    virtual bool PassesZeros() const = 0;

    /// Does what blocks with these sectors would do if they held only zeros; the block before them did, and was shown.
    /// Only if `PassesZeros`.
    virtual void PassZeros(std::int64_t firstSector, std::int64_t count, std::int32_t sectorSize) = 0;

protected:
    ~IPassingScanner() = default;
};
