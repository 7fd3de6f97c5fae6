#include "tests/support/RunFormats.h"

#include <string>

namespace test {

std::ostream& operator<<(std::ostream& out, const RunFormat& format) { return out << format.name; }

const std::vector<RunFormat>& RunFormats() {
    using namespace std::string_literals;
    constexpr std::int64_t tenMiB = 10485760;
    static const std::vector<RunFormat> formats{
        {"png", FileTypeIndex::Png, BytesOf("\x89PNG\r\n\x1A\n"), false, 9, BytesOf("IEND\xAE\x42\x60\x82"), 0, 256,
         tenMiB},
        {"bookmark", FileTypeIndex::Bookmarks, BytesOf("<!DOCTYPE NETSCAPE-Bookmark-file-1>"), true, 49,
         BytesOf("</DL><p>"), 4, 16384, 1048576},
        {"abr", FileTypeIndex::Abr, BytesOf("\0\x06\0\x02"s + "8BIM"), false, 8, BytesOf("Rpt bool\0"s), 0, 512,
         tenMiB},
        {"exb", FileTypeIndex::Exb, BytesOf("\x10"s + "CaxaEbForWindows"), false, 17,
         BytesOf(" ;\x01\0\0\0\0\xFF\xFF"s + std::string(12, '\0')), 0, 512, tenMiB},
        {"pzf", FileTypeIndex::Pzf, BytesOf("PCFFGRA"), false, 7, BytesOf(std::string(14, '\xFF') + "\x01\x40"), 0, 512,
         tenMiB}};
    return formats;
}

Bytes RunFile(const RunFormat& format, std::size_t size) {
    return Join({format.head, Bytes(size - format.head.size() - format.tail.size(), 'x'), format.tail});
}

namespace {

using Position = std::int64_t;

bool SameByte(std::uint8_t a, std::uint8_t b, bool anyCase) {
    const auto upper = [](std::uint8_t c) {
        return c >= 'a' && c <= 'z' ? c - 32 : c;
    };
    return anyCase ? upper(a) == upper(b) : a == b;
}

bool HasBytesAt(const Bytes& medium, Position at, const Bytes& pattern, bool anyCase) {
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        if (!SameByte(medium[static_cast<std::size_t>(at) + i], pattern[i], anyCase)) {
            return false;
        }
    }
    return true;
}

bool AnyIsNotText(const Bytes& medium, Position at, std::int32_t count) {
    for (std::int32_t i = 0; i < count; ++i) {
        const std::uint8_t byte = medium[static_cast<std::size_t>(at + i)];
        if (byte != 0x09 && byte != 0x0A && byte != 0x0D && (byte < 0x20 || byte > 0x7F)) {
            return true;
        }
    }
    return false;
}

// Offset after the file's last byte in the sector at `p`; -1 if the file does not end there.
Position EndIn(const RunFormat& format, const Bytes& medium, Position p, Position sectorSize) {
    const auto tailLength = static_cast<Position>(format.tail.size());
    for (Position k = 0; k < sectorSize; ++k) {
        if (k + tailLength + format.decidingBytes < sectorSize && HasBytesAt(medium, p + k, format.tail, false) &&
            (format.decidingBytes == 0 || AnyIsNotText(medium, p + k + tailLength, format.decidingBytes))) {
            return k + tailLength;
        }
    }
    return -1;
}

}  // namespace

std::vector<Found> ReferenceRun(const RunFormat& format, const Medium& medium, std::int64_t maxSize) {
    std::vector<Found> finds;
    bool inFile = false;
    std::int64_t start = 0;
    std::int64_t length = 0;
    const auto reportIfLongEnough = [&] {
        if (length >= format.minLength) {
            finds.push_back({start, length > maxSize ? maxSize : length});
        }
    };
    const Position sectorSize = medium.SectorSize();
    for (std::int64_t sector = 0; sector < medium.SectorCount(); ++sector) {
        const Position p = sector * sectorSize;
        if (sectorSize >= format.smallestSector && HasBytesAt(medium.Data(), p, format.head, format.headInAnyCase)) {
            if (inFile) {
                reportIfLongEnough();
            }
            start = sector;
            length = 0;
            inFile = true;
        } else if (!inFile) {
            continue;
        }
        const Position end = EndIn(format, medium.Data(), p, sectorSize);
        if (end < 0) {
            length += sectorSize;
            continue;
        }
        length += end;
        reportIfLongEnough();
        length = 0;
        inFile = false;
    }
    return finds;
}

}  // namespace test
