#include "formats/PictureWalks.h"

#include <algorithm>
#include <array>

#include "frame/contract/FileTypeCatalog.h"

namespace {

// The header, the number of tags and the first tag.
constexpr std::size_t PrefixBytes = 144;
constexpr std::size_t TableStart = 132;
constexpr std::size_t TagBytes = 12;
constexpr std::uint32_t LargestFile = FileTypeCatalog[FileTypeIndex::Icc].maxSize;
constexpr std::size_t MostTags = 100;
constexpr auto Signature = PatternOf("acsp");
// Version 5 added spectral profiles, which use the header's fields in their own way.
constexpr std::uint8_t SpectralVersion = 5;

constexpr std::uint32_t Code(const char (&text)[5]) { return LoadBig<std::uint32_t>(PatternOf(text), 0); }

std::uint8_t Version(ByteSpan header) { return header[8]; }

bool IsPrintable(ByteSpan text) {
    return std::ranges::all_of(text, [](std::uint8_t letter) { return letter >= 0x20 && letter < 0x7F; });
}

bool IsDateSound(ByteSpan header) {
    const auto year = LoadBig<std::uint16_t>(header, 24);
    return (year == 0 || (year >= 1980 && year <= 2100)) && LoadBig<std::uint16_t>(header, 26) <= 12 &&
           LoadBig<std::uint16_t>(header, 28) <= 31;
}

// The D50 white point, in 1/65536; old programs write it with three decimals.
bool IsIlluminantSound(ByteSpan header) {
    constexpr std::array<std::uint32_t, 3> d50{0xF6D6, 0x10000, 0xD32D};
    constexpr std::uint32_t tolerance = 0x40;
    for (std::size_t i = 0; i < d50.size(); ++i) {
        const std::uint32_t difference = LoadBig<std::uint32_t>(header, 68 + i * 4) - d50[i] + tolerance;
        if (difference > 2 * tolerance) {
            return false;
        }
    }
    return true;
}

bool AreSpacesSound(ByteSpan header, std::uint32_t profileClass) {
    const auto connection = LoadBig<std::uint32_t>(header, 20);
    return IsPrintable(header.subspan(16, 8)) &&
           (profileClass == Code("link") || connection == Code("XYZ ") || connection == Code("Lab "));
}

bool IsHeaderSound(ByteSpan header) {
    constexpr std::array classes{Code("scnr"), Code("mntr"), Code("prtr"), Code("link"), Code("spac"), Code("abst"),
                                 Code("nmcl"), Code("cenc"), Code("mid "), Code("mlnk"), Code("mvis")};
    const auto profileClass = LoadBig<std::uint32_t>(header, 12);
    const ByteSpan platform = header.subspan(40, 4);
    const ByteSpan reserved = header.subspan(100, 28);
    // Early programs leave rubbish here.
    const bool isReservedSound = Version(header) < 4 || std::ranges::count(reserved, 0) == std::ssize(reserved);
    const bool isOfItsVersion = Version(header) == SpectralVersion ||
                                (Version(header) >= 1 && Version(header) < SpectralVersion &&
                                 AreSpacesSound(header, profileClass) && IsIlluminantSound(header) && isReservedSound);
    return isOfItsVersion && std::ranges::find(classes, profileClass) != classes.end() && IsDateSound(header) &&
           (IsPrintable(platform) || LoadBig<std::uint32_t>(platform, 0) == 0);
}

}  // namespace

bool IccProfile::IsHeader(ByteSpan sector) {
    if (sector.size() < PrefixBytes || !HasPatternAt(sector, 36, Signature)) {
        return false;
    }
    const auto size = LoadBig<std::uint32_t>(sector, 0);
    const auto tags = LoadBig<std::uint32_t>(sector, 128);
    return size >= PrefixBytes && size <= LargestFile && tags >= 1 && tags <= MostTags && IsHeaderSound(sector);
}

std::optional<WalkedFile> IccProfile::Walk(ByteWindow& file) {
    const ByteSpan header = file.At(0, TableStart);
    if (header.empty()) {
        return std::nullopt;
    }
    const std::int64_t size = LoadBig<std::uint32_t>(header, 0);
    const std::size_t tableBytes = LoadBig<std::uint32_t>(header, 128) * TagBytes;
    // Old programs leave out the padding of the last tag.
    constexpr std::uint8_t lastUnpadded = 3;
    const std::int64_t end = Version(header) <= lastUnpadded ? size + 3 : size;
    const ByteSpan table = file.At(TableStart, tableBytes);
    if (table.empty()) {
        return std::nullopt;
    }
    for (std::size_t at = 0; at < table.size(); at += TagBytes) {
        const std::int64_t offset = LoadBig<std::uint32_t>(table, at + 4);
        const std::int64_t length = LoadBig<std::uint32_t>(table, at + 8);
        if (!IsPrintable(table.subspan(at, 4)) || offset < static_cast<std::int64_t>(TableStart + tableBytes) ||
            length < 8 || offset + length > end) {
            return std::nullopt;
        }
    }
    return WalkedFile{size};
}
