#include "host/validators/containers/compound_pictures.h"

#include <algorithm>
#include <optional>

#include "host/validators/crc32.h"
#include "host/validators/inflate.h"

namespace salvor {

namespace {

constexpr std::uint16_t FirstMetafile = 0xF01A;
constexpr std::uint16_t LastMetafile = 0xF01C;
constexpr std::uint16_t Jpeg = 0xF01D;
constexpr std::uint16_t JpegCmyk = 0xF02A;
constexpr std::uint16_t Png = 0xF01E;

constexpr std::int64_t DigestBytes = 16;

constexpr auto PngSignature = PatternOf("\x89PNG\r\n\x1A\n");
constexpr auto JpegSignature = PatternOf("\xFF\xD8\xFF");

bool ArePngChunksRight(ByteWindow& stream, std::int64_t at, std::int64_t to) {
    static constexpr auto lastType = PatternOf("IEND");
    constexpr std::int64_t chunkBytes = 12;
    if (!StartsWith(stream.At(at, PngSignature.size()), PngSignature)) {
        return false;
    }
    at += static_cast<std::int64_t>(PngSignature.size());
    while (at + chunkBytes <= to) {
        const ByteSpan header = stream.At(at, 8);
        const std::int64_t length = header.empty() ? to : std::int64_t{LoadBig<std::uint32_t>(header, 0)};
        const bool isLast = HasPatternAt(header, 4, lastType);
        const std::int64_t end = at + chunkBytes + length;
        const std::optional<std::uint32_t> crc = end > to ? std::nullopt : Crc32Of(stream, at + 4, end - 4);
        const ByteSpan stored = crc ? stream.At(end - 4, 4) : ByteSpan();
        if (stored.empty() || LoadBig<std::uint32_t>(stored, 0) != *crc) {
            return false;
        }
        if (isLast) {
            return true;
        }
        at = end;
    }
    return false;
}

// In a scan's data, only a few values can follow a byte FF.
bool MayFollow(std::uint8_t byte) {
    const bool isRestart = byte >= 0xD0 && byte <= 0xD7;
    return byte == 0 || isRestart || byte == 0xFF || byte == 0xC4 || (byte >= 0xD9 && byte <= 0xDD) || byte == 0xFE;
}

// Where the data of the first scan begin.
std::optional<std::int64_t> FirstScan(ByteWindow& stream, std::int64_t at, std::int64_t to) {
    constexpr std::uint8_t startOfScan = 0xDA;
    at += 2;
    while (at + 4 <= to) {
        const ByteSpan segment = stream.At(at, 4);
        if (segment.empty() || segment[0] != 0xFF) {
            return std::nullopt;
        }
        if (segment[1] == 0xFF) {
            ++at;
            continue;
        }
        at += 2 + LoadBig<std::uint16_t>(segment, 2);
        if (segment[1] == startOfScan) {
            return at;
        }
    }
    return std::nullopt;
}

bool AreJpegMarksRight(ByteWindow& stream, std::int64_t from, std::int64_t to) {
    constexpr std::uint8_t endOfImage = 0xD9;
    constexpr std::uint8_t firstWithLength = 0xC0;
    const bool isOne = StartsWith(stream.At(from, JpegSignature.size()), JpegSignature);
    std::optional<std::int64_t> at = isOne ? FirstScan(stream, from, to) : std::nullopt;
    bool isMarked = false;
    while (at && *at < to) {
        const ByteSpan bytes = stream.From(*at);
        const auto count = std::min(std::ssize(bytes), std::ptrdiff_t{to - *at});
        if (count <= 0) {
            break;
        }
        std::int64_t skipped = 0;
        for (const std::uint8_t byte : bytes.first(static_cast<std::size_t>(count))) {
            ++skipped;
            if (isMarked && (byte == endOfImage || !MayFollow(byte))) {
                return byte == endOfImage;
            }
            // Tables between scans may hold any byte: step over them.
            if (isMarked && byte >= firstWithLength && (byte < 0xD0 || byte > 0xD7) && byte != 0xFF) {
                const ByteSpan length = stream.At(*at + skipped, 2);
                skipped += length.empty() ? to : std::int64_t{LoadBig<std::uint16_t>(length, 0)};
                isMarked = false;
                break;
            }
            isMarked = byte == 0xFF;
        }
        *at += skipped;
    }
    // Viewers show the picture even without an end mark.
    return at.has_value();
}

// A header with the packed and the unpacked size, and a zlib stream.
bool IsMetafileRight(ByteWindow& stream, std::int64_t at, std::int64_t to) {
    constexpr std::size_t headerBytes = 34;
    constexpr std::size_t packedSize = 28;
    constexpr std::size_t compression = 32;
    constexpr std::uint8_t deflated = 0;
    const ByteSpan header = stream.At(at, headerBytes);
    if (header.empty()) {
        return false;
    }
    const std::int64_t size = LoadLittle<std::uint32_t>(header, 0);
    const std::int64_t packed = LoadLittle<std::uint32_t>(header, packedSize);
    const std::int64_t data = at + static_cast<std::int64_t>(headerBytes);
    constexpr std::int64_t largest = std::int64_t{64} << 20U;
    if (header[compression] != deflated || size > largest) {
        return true;
    }
    return data + packed <= to && InflateAt(stream, data, data + packed, DeflateFormat::Zlib, largest).has_value();
}

}  // namespace

bool IsDrawnPictureRight(ByteWindow& stream, std::uint16_t type, std::uint16_t instance, std::int64_t from,
                         std::int64_t to) {
    // One or two digests of the picture, and one more byte unless it is a metafile.
    const std::int64_t at = from + ((instance & 1U) != 0 ? 2 : 1) * DigestBytes;
    if (type >= FirstMetafile && type <= LastMetafile) {
        return IsMetafileRight(stream, at, to);
    }
    if (type == Png) {
        return ArePngChunksRight(stream, at + 1, to);
    }
    if (type == Jpeg || type == JpegCmyk) {
        return AreJpegMarksRight(stream, at + 1, to);
    }
    return true;
}

bool IsPictureRight(ByteWindow& stream, std::int64_t from, std::int64_t to) {
    if (StartsWith(stream.At(from, PngSignature.size()), PngSignature)) {
        return ArePngChunksRight(stream, from, to);
    }
    return !StartsWith(stream.At(from, JpegSignature.size()), JpegSignature) || AreJpegMarksRight(stream, from, to);
}

}  // namespace salvor
