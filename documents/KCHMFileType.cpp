#include "documents/KCHMFileType.h"

#include "frame/bytes/Bytes.h"

namespace {

constexpr auto DirectoryMagic = PatternOf("ITSP");
constexpr auto FirstGuid = PatternOf("\x10\xFD\x01\x7C\xAA\x7B\xD0\x11\x9E\x0C\x00\xA0\xC9\x22\xE6\xEC");
constexpr auto SecondGuid = PatternOf("\x11\xFD\x01\x7C\xAA\x7B\xD0\x11\x9E\x0C\x00\xA0\xC9\x22\xE6\xEC");
// The Free Pascal compiler writes the first one twice.
constexpr std::size_t FirstGuidPlace = 0x18;
constexpr std::size_t SecondGuidPlace = 0x28;
constexpr std::uint32_t OldVersion = 2;
constexpr std::uint32_t Version = 3;
constexpr std::uint32_t OldHeaderBytes = 0x58;
constexpr std::uint32_t HeaderBytes = 0x60;

// The first section: a mark, zeros, the file's size.
constexpr auto SizeSectionMark = PatternOf("\xFE\x01\0\0\0\0\0\0");
constexpr std::size_t SizeSectionBytes = 0x18;
constexpr std::uint64_t SizeSectionReach = 0x10000;
constexpr std::uint64_t LargestFile = std::uint64_t{1} << 31U;

struct Header {
    std::uint64_t sizeSection;
    std::uint64_t directory;
    // The end of the directory; the content begins there or later.
    std::uint64_t directoryEnd;
    std::uint64_t content;
};

std::optional<Header> ReadHeader(ByteSpan bytes) {
    const auto version = LoadLittle<std::uint32_t>(bytes, 4);
    const std::uint32_t headerBytes = version == OldVersion ? OldHeaderBytes : HeaderBytes;
    if ((version != OldVersion && version != Version) || LoadLittle<std::uint32_t>(bytes, 8) != headerBytes ||
        !HasPatternAt(bytes, FirstGuidPlace, FirstGuid) ||
        !(HasPatternAt(bytes, SecondGuidPlace, SecondGuid) || HasPatternAt(bytes, SecondGuidPlace, FirstGuid))) {
        return std::nullopt;
    }
    const auto sizeSection = LoadLittle<std::uint64_t>(bytes, 0x38);
    const auto sizeSectionBytes = LoadLittle<std::uint64_t>(bytes, 0x40);
    const auto directory = LoadLittle<std::uint64_t>(bytes, 0x48);
    const auto directoryBytes = LoadLittle<std::uint64_t>(bytes, 0x50);
    if (sizeSection < headerBytes || sizeSection >= SizeSectionReach || sizeSectionBytes < SizeSectionBytes ||
        sizeSectionBytes > LargestFile || directory < sizeSection + sizeSectionBytes || directory > LargestFile ||
        directoryBytes > LargestFile) {
        return std::nullopt;
    }
    return Header{.sizeSection = sizeSection,
                  .directory = directory,
                  .directoryEnd = directory + directoryBytes,
                  .content = version == OldVersion ? 0 : LoadLittle<std::uint64_t>(bytes, 0x58)};
}

}  // namespace

std::optional<std::int64_t> KCHMFileType::Walk(FileWindow& file) {
    const ByteSpan bytes = file.At(0, HeaderBytes);
    const std::optional<Header> header = bytes.empty() ? std::nullopt : ReadHeader(bytes);
    if (!header) {
        return std::nullopt;
    }
    const ByteSpan section = file.At(static_cast<std::int64_t>(header->sizeSection), SizeSectionBytes);
    if (!StartsWith(section, SizeSectionMark)) {
        return std::nullopt;
    }
    const auto size = LoadLittle<std::uint64_t>(section, SizeSectionMark.size());
    if (size < header->directoryEnd || size < header->content || size > LargestFile ||
        !StartsWith(file.At(static_cast<std::int64_t>(header->directory), DirectoryMagic.size()), DirectoryMagic)) {
        return std::nullopt;
    }
    return static_cast<std::int64_t>(size);
}
