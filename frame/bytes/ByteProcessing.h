#pragma once

#include <cstddef>
#include <cstdint>

/// Reads numbers of 0 to 8 bytes in either byte order. All functions are static.
class ByteProcessing {
public:
    ByteProcessing() = default;
    ByteProcessing(const ByteProcessing&) = default;
    ByteProcessing& operator=(const ByteProcessing&) = default;
    virtual ~ByteProcessing() = default;

    /// The `n`-byte number at `bytes`: big-endian when `order` is 1, little-endian for every other value. 0 when
    /// `bytes` is null or `n` is above 8.
    static std::uint64_t ReadOrdered(const void* bytes, std::uint32_t n, std::int32_t order);

    /// Reverses `n` bytes in place; an odd middle byte stays.
    static void ReverseBytes(void* bytes, std::size_t n);
};
