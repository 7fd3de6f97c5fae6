#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>

#include "frame/bytes/Bytes.h"
#include "frame/bytes/Endian.h"
#include "frame/bytes/SectorFilter.h"
#include "frame/read/ReadAt.h"

/// What TIFF and the raw formats built on it share: a header that says the byte order, and directories of 12-byte
/// entries. Source: Adobe, TIFF Revision 6.0, section 2.

struct TiffHeader {
    Endian order;
    std::uint32_t firstDirectory;
};

/// "II" or "MM", then 42 in that order.
inline constexpr AnySectorFilter TiffFilter{SectorFilterOf(PatternOf("II\x2A\0")),
                                            SectorFilterOf(PatternOf("MM\0\x2A"))};

/// The header at the start of a sector; nothing if there is none or the sector is shorter than one.
inline std::optional<TiffHeader> FindTiffHeader(ByteSpan sector) {
    constexpr std::size_t headerBytes = 8;
    // "II" or "MM", then 42 in that order.
    constexpr std::uint32_t littleMark = 0x49492A00;
    constexpr std::uint32_t bigMark = 0x4D4D002A;
    if (sector.size() < headerBytes) {
        return std::nullopt;
    }
    const auto mark = LoadBig<std::uint32_t>(sector, 0);
    if (mark != littleMark && mark != bigMark) {
        return std::nullopt;
    }
    const Endian order = mark == bigMark ? Endian::Big : Endian::Little;
    return TiffHeader{order, LoadAs<std::uint32_t>(sector, 4, order)};
}

/// The bytes of one value by field type, from BYTE (1) to DOUBLE (12); there is no type 0.
inline constexpr std::array<std::uint8_t, 13> TiffTypeBytes{0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8};

/// One entry of a directory. Data of up to 4 bytes is in `value` itself, as in the file; longer data is where
/// `value`, read as a number, points to.
struct TiffEntry {
    std::uint16_t tag;
    std::uint16_t type;
    std::uint32_t count;
    std::array<std::uint8_t, 4> value;

    std::uint32_t Number(Endian order) const { return LoadAs<std::uint32_t>(value, 0, order); }
    /// The length of all values; 0 for an unknown type.
    std::uint64_t ValueBytes() const {
        return type < TiffTypeBytes.size() ? std::uint64_t{count} * TiffTypeBytes[type] : 0;
    }
    bool IsInline() const { return ValueBytes() <= sizeof(value); }
};

inline constexpr std::size_t TiffEntryBytes = 12;
inline TiffEntry TiffEntryOf(std::span<const std::uint8_t, TiffEntryBytes> bytes, Endian order) {
    return {.tag = LoadAs<std::uint16_t>(bytes, 0, order),
            .type = LoadAs<std::uint16_t>(bytes, 2, order),
            .count = LoadAs<std::uint32_t>(bytes, 4, order),
            .value = {bytes[8], bytes[9], bytes[10], bytes[11]}};
}

/// A directory with more entries is not taken for one.
inline constexpr std::uint16_t MostTiffEntries = 128;

/// Calls `visit(const TiffEntry&)` for the entries of a directory, whose types are known and whose tags never descend.
/// Gives the offset of the link to the next directory, or nothing as soon as an entry fails; those before it have
/// been visited. `File` is a reader that `ReadAt` takes.
template <class File, class Visit>
std::optional<std::int64_t> ForEachTiffEntry(File& file, std::int64_t offset, Endian order, Visit&& visit) {
    std::array<std::uint8_t, 2> number{};
    if (!ReadAt(file, offset, number)) {
        return std::nullopt;
    }
    const auto count = LoadAs<std::uint16_t>(number, 0, order);
    if (count > MostTiffEntries) {
        return std::nullopt;
    }
    std::int64_t at = offset + 2;
    std::uint16_t lastTag = 0;
    for (std::uint16_t i = 0; i < count; ++i) {
        std::array<std::uint8_t, TiffEntryBytes> bytes{};
        if (!ReadAt(file, at, bytes)) {
            return std::nullopt;
        }
        const TiffEntry entry = TiffEntryOf(bytes, order);
        if (entry.type >= TiffTypeBytes.size() || entry.tag < lastTag) {
            return std::nullopt;
        }
        lastTag = entry.tag;
        visit(entry);
        at += static_cast<std::int64_t>(TiffEntryBytes);
    }
    return at;
}
