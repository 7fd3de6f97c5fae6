#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "frame/bytes/Bytes.h"

/// MPEG program streams: packs and packets, each of which begins with a start code. Source: ISO/IEC 13818-1, section
/// 2.5.3; ISO/IEC 11172-1, section 2.4.3.
namespace ProgramStream {

inline constexpr auto StartCodePrefix = PatternOf("\0\0\1");
inline constexpr std::size_t StartCodeBytes = 4;

/// The last byte of a start code. Packets have the codes above a pack's; a system header has the form of a packet.
inline constexpr std::uint8_t EndCode = 0xB9;
inline constexpr std::uint8_t PackCode = 0xBA;
inline constexpr auto PackSignature = PatternOf("\0\0\1\xBA");

/// A packet's header: the start code and a 16-bit big-endian length of what follows it.
inline constexpr std::size_t PacketHeaderBytes = 6;

/// The header of a pack in bytes, without its stuffing in MPEG-2.
inline constexpr std::size_t Mpeg1PackBytes = 12;
inline constexpr std::size_t Mpeg2PackBytes = 14;

struct Pack {
    bool isMpeg2;
    /// The header's length with its stuffing.
    std::int64_t bytes;
    /// The system clock reference in 1/90,000 s.
    std::int64_t clock;
    /// Whether the marker bits between the header's fields are set.
    bool hasMarkers;
    /// Whether the reserved bits before the stuffing's length are set; always so in MPEG-1, which has none.
    bool hasReservedBits;
};

/// The pack header that `bytes` begin with. The bits after its start code tell MPEG-2 (01) from MPEG-1 (0010).
inline std::optional<Pack> ReadPack(ByteSpan bytes) {
    if (bytes.size() < Mpeg1PackBytes || !StartsWith(bytes, PackSignature)) {
        return std::nullopt;
    }
    // A clock of 33 bits in three parts with marker bits between them.
    const std::int64_t b4 = bytes[4];
    const std::int64_t b5 = bytes[5];
    const std::int64_t b6 = bytes[6];
    const std::int64_t b7 = bytes[7];
    const std::int64_t b8 = bytes[8];
    if (b4 >> 4 == 2) {
        return Pack{.isMpeg2 = false,
                    .bytes = Mpeg1PackBytes,
                    .clock = (b4 & 0xE) << 29 | b5 << 22 | (b6 & 0xFE) << 14 | b7 << 7 | b8 >> 1,
                    .hasMarkers = (b4 & b6 & b8 & bytes[11] & 1) != 0 && bytes[9] >= 0x80,
                    .hasReservedBits = true};
    }
    if (b4 >> 6 != 1 || bytes.size() < Mpeg2PackBytes) {
        return std::nullopt;
    }
    return Pack{
        .isMpeg2 = true,
        .bytes = static_cast<std::int64_t>(Mpeg2PackBytes) + (bytes[13] & 7),
        .clock = (b4 & 0x38) << 27 | (b4 & 3) << 28 | b5 << 20 | (b6 & 0xF8) << 12 | (b6 & 3) << 13 | b7 << 5 | b8 >> 3,
        .hasMarkers = (b4 & b6 & b8 & 4) != 0 && (bytes[9] & 1) != 0 && (bytes[12] & 3) == 3,
        .hasReservedBits = bytes[13] >> 3 == 0x1F};
}

}  // namespace ProgramStream
