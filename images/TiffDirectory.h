#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "frame/Bytes.h"
#include "frame/KFileSimulator.h"

/// What TIFF and the raw formats built on it share: a header that says the byte order, and directories of 12-byte
/// entries. Source: Adobe, TIFF Revision 6.0, section 2.

enum class TiffByteOrder : std::uint8_t { Little, Big };

/// The number of T's width at `offset`, which lies wholly within `bytes`.
template <std::unsigned_integral T>
constexpr T LoadTiff(ByteSpan bytes, std::size_t offset, TiffByteOrder order) {
    return order == TiffByteOrder::Big ? LoadBig<T>(bytes, offset) : LoadLittle<T>(bytes, offset);
}

struct TiffHeader {
    TiffByteOrder order;
    std::uint32_t firstDirectory;
};

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
    const TiffByteOrder order = mark == bigMark ? TiffByteOrder::Big : TiffByteOrder::Little;
    return TiffHeader{order, LoadTiff<std::uint32_t>(sector, 4, order)};
}

/// One entry of a directory. Data of up to 4 bytes stands in `value` itself, as in the file; longer data stands where
/// `value`, read as a number, points to.
struct TiffEntry {
    std::uint16_t tag;
    std::uint16_t type;
    std::uint32_t count;
    std::array<std::uint8_t, 4> value;

    std::uint32_t Number(TiffByteOrder order) const { return LoadTiff<std::uint32_t>(value, 0, order); }
};

/// A directory with more entries is not taken for one.
inline constexpr std::uint16_t MostTiffEntries = 128;

/// Goes to a directory and reads how many entries it has; nothing if that fails or they are too many.
std::optional<std::uint16_t> OpenTiffDirectory(KFileSimulator& file, std::int64_t offset, TiffByteOrder order);

/// Reads the next entry; nothing if that fails, its type is unknown or its tag is below `lowestTag`.
std::optional<TiffEntry> ReadTiffEntry(KFileSimulator& file, TiffByteOrder order, std::uint16_t lowestTag);

/// Calls `visit(const TiffEntry&)` for the entries of a directory, whose tags never descend. False as soon as one
/// fails; those in front of it have been visited. After success the file stands at the link to the next directory.
template <class Visit>
bool ForEachTiffEntry(KFileSimulator& file, std::int64_t offset, TiffByteOrder order, Visit&& visit) {
    const std::optional<std::uint16_t> count = OpenTiffDirectory(file, offset, order);
    if (!count) {
        return false;
    }
    std::uint16_t lastTag = 0;
    for (std::uint16_t i = 0; i < *count; ++i) {
        const std::optional<TiffEntry> entry = ReadTiffEntry(file, order, lastTag);
        if (!entry) {
            return false;
        }
        lastTag = entry->tag;
        visit(*entry);
    }
    return true;
}
