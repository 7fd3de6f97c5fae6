#pragma once

#include <cstdint>
#include <functional>
#include <optional>

#include "frame/bytes/ByteWindow.h"

namespace salvor {

/// The lengths and the checksum of a deflated stream.
struct Inflated {
    /// Bytes of the stream, including its end mark and checksum.
    std::int64_t packedSize = 0;
    /// Bytes it unpacks to.
    std::int64_t size = 0;
    /// CRC-32 of the unpacked bytes.
    std::uint32_t crc = 0;
};

enum class DeflateFormat : std::uint8_t {
    /// RFC 1951: without header or checksum.
    Raw,
    /// RFC 1950: a header of two bytes and an Adler-32, which is checked.
    Zlib,
};

/// Unpacks the stream at `offset` and passes the bytes to `take`, piece by piece. Nothing if the stream is broken, does
/// not end before `end` (in bytes from the file's start), or unpacks to more than `mostBytes`.
std::optional<Inflated> InflateAt(ByteWindow& file, std::int64_t offset, std::int64_t end, DeflateFormat format,
                                  std::int64_t mostBytes, const std::function<void(ByteSpan)>& take = {});

}  // namespace salvor
