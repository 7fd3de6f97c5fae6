#include "host/validators/media/audio_tags.h"

#include <algorithm>

#include "frame/bytes/BytePattern.h"

namespace salvor {

namespace {

constexpr std::size_t Id3HeaderBytes = 10;
constexpr std::int64_t Id3v1Bytes = 128;
// The extended tag before an ID3 version 1 tag.
constexpr std::int64_t EnhancedBytes = 227;
constexpr std::size_t ApeHeaderBytes = 32;
// Includes the item's length and flags before the key, and the NUL after it.
constexpr std::size_t LongestApeKey = 8 + 255 + 1;
constexpr auto ApeMark = PatternOf("APETAGEX");
constexpr std::uint32_t ApeIsHeader = 0x20000000;
// A tag after the sound is never longer; longer tags come before the sound.
constexpr std::int64_t LongestEndTag = 0x100000;

std::int64_t Id3Bytes(ByteSpan header) {
    if (header.size() < Id3HeaderBytes || !StartsWith(header, PatternOf("ID3")) || header[3] < 2 || header[3] > 4 ||
        header[4] == 0xFF || (header[5] & 0xFU) != 0) {
        return 0;
    }
    std::int64_t size = 0;
    for (const std::uint8_t byte : header.subspan(6, 4)) {
        if (byte >= 0x80) {
            return 0;
        }
        size = size << 7U | byte;
    }
    const bool hasFooter = (header[5] & 0x10U) != 0;
    return size + static_cast<std::int64_t>(Id3HeaderBytes) * (hasFooter ? 2 : 1);
}

// True if the first field has a name, or if there is only padding.
bool HasId3Field(ByteSpan head) {
    const bool hasExtension = (head[5] & 0x40U) != 0;
    const std::size_t nameBytes = head[3] == 2 ? 3 : 4;
    if (hasExtension || head.size() < Id3HeaderBytes + nameBytes) {
        return true;
    }
    const ByteSpan name = head.subspan(Id3HeaderBytes, nameBytes);
    return name[0] == 0 || std::ranges::all_of(name, [](std::uint8_t letter) {
               return (letter >= 'A' && letter <= 'Z') || (letter >= '0' && letter <= '9') || letter == ' ' ||
                      letter == 0;
           });
}

struct ApeTag {
    // Includes the footer but not the header.
    std::int64_t bytes;
    bool isHeader;
};

std::optional<ApeTag> ReadApe(ByteSpan header) {
    if (header.size() < ApeHeaderBytes || !StartsWith(header, ApeMark)) {
        return std::nullopt;
    }
    const auto version = LoadLittle<std::uint32_t>(header, 8);
    const std::int64_t bytes = LoadLittle<std::uint32_t>(header, 12);
    const bool isSane = (version == 1000 || version == 2000) && bytes >= static_cast<std::int64_t>(ApeHeaderBytes);
    const bool isHeader = (LoadLittle<std::uint32_t>(header, 20) & ApeIsHeader) != 0;
    return isSane ? std::optional(ApeTag{bytes, isHeader}) : std::nullopt;
}

std::int64_t ApeBytesAt(ByteWindow& file, std::int64_t offset) {
    constexpr auto headerBytes = static_cast<std::int64_t>(ApeHeaderBytes);
    const std::optional<ApeTag> tag = ReadApe(file.At(offset, ApeHeaderBytes));
    if (!tag || !tag->isHeader) {
        return 0;
    }
    return ReadApe(file.At(offset + tag->bytes, ApeHeaderBytes)) ? tag->bytes + headerBytes : 0;
}

// An item begins with its value's length and flags, then its key, which ends with a NUL.
bool IsApeItem(ByteSpan item) {
    constexpr std::size_t fixedBytes = 8;
    constexpr std::uint32_t knownFlags = 0xE0000007;
    if (item.size() <= fixedBytes || (LoadLittle<std::uint32_t>(item, 4) & ~knownFlags) != 0) {
        return false;
    }
    const ByteSpan key = item.subspan(fixedBytes);
    const auto end = std::ranges::find_if(key, [](std::uint8_t byte) { return byte < 0x20 || byte > 0x7E; });
    return end - key.begin() >= 2 && end != key.end() && *end == 0;
}

// APE version 1 has no header: the end of a tag whose footer gives `offset` as its start.
std::optional<std::int64_t> EndOfHeadlessApe(ByteWindow& file, std::int64_t offset) {
    constexpr BytePattern mark(ApeMark);
    if (!IsApeItem(file.From(offset, LongestApeKey))) {
        return std::nullopt;
    }
    const std::int64_t to = std::min(offset + static_cast<std::int64_t>(ByteWindow::PieceBytes), file.Limit());
    const std::optional<std::int64_t> found = file.Find(mark, offset, to);
    const std::optional<ApeTag> tag = found ? ReadApe(file.At(*found, ApeHeaderBytes)) : std::nullopt;
    if (!tag || tag->isHeader) {
        return std::nullopt;
    }
    const std::int64_t end = *found + static_cast<std::int64_t>(ApeHeaderBytes);
    return end - tag->bytes == offset ? std::optional(end) : std::nullopt;
}

std::optional<std::int64_t> EndOfLyrics(ByteWindow& file, std::int64_t offset) {
    if (!StartsWith(file.At(offset, 11), PatternOf("LYRICSBEGIN"))) {
        return std::nullopt;
    }
    constexpr std::int64_t markBytes = 9;
    const std::int64_t to = std::min(offset + LongestEndTag, file.Limit());
    const auto second = file.Find(BytePatternOf<"LYRICS200">(), offset, to);
    const auto first = second ? std::nullopt : file.Find(BytePatternOf<"LYRICSEND">(), offset, to);
    return second ? std::optional(*second + markBytes) : first ? std::optional(*first + markBytes) : std::nullopt;
}

bool IsId3v1(ByteSpan tag) {
    if (tag.size() < static_cast<std::size_t>(Id3v1Bytes) || !StartsWith(tag, PatternOf("TAG"))) {
        return false;
    }
    const auto isText = [](std::uint8_t byte) {
        return byte == 0 || byte >= 0x20 || (byte >= 9 && byte <= 13);
    };
    const auto isOfYear = [](std::uint8_t byte) {
        return byte == 0 || byte == ' ' || (byte >= '0' && byte <= '9');
    };
    return std::ranges::all_of(tag.subspan(3, 90), isText) && std::ranges::all_of(tag.subspan(93, 4), isOfYear);
}

// The end of a tag at `offset`, after the sound.
std::optional<std::int64_t> EndOfEndTag(ByteWindow& file, std::int64_t offset) {
    const ByteSpan head = file.From(offset, static_cast<std::size_t>(Id3v1Bytes));
    if (StartsWith(head, PatternOf("TAG+"))) {
        const std::int64_t end = offset + EnhancedBytes;
        return StartsWith(file.At(end, 3), PatternOf("TAG")) ? std::optional(end) : std::nullopt;
    }
    if (head.size() >= static_cast<std::size_t>(Id3v1Bytes) && StartsWith(head, PatternOf("TAG"))) {
        return offset + Id3v1Bytes;
    }
    if (const std::int64_t bytes = ApeBytesAt(file, offset); bytes != 0) {
        return offset + bytes;
    }
    return EndOfLyrics(file, offset);
}

}  // namespace

bool IsTagStart(ByteSpan head) { return (Id3Bytes(head) != 0 && HasId3Field(head)) || ReadApe(head).has_value(); }

std::int64_t TagBytesAt(ByteWindow& file, std::int64_t offset) {
    const std::int64_t bytes = Id3Bytes(file.At(offset, Id3HeaderBytes));
    return bytes != 0 ? bytes : ApeBytesAt(file, offset);
}

std::int64_t EndOfTags(Place& file, std::int64_t offset) {
    constexpr int mostTags = 16;
    const bool isAtStart = offset == 0;
    for (int tags = 0; tags < mostTags; ++tags) {
        const bool isNextFile = !isAtStart && offset % file.SectorSize() == 0;
        const std::int64_t front = isNextFile ? 0 : Id3Bytes(file.At(offset, Id3HeaderBytes));
        const bool fits = offset == 0 || offset + front <= file.Limit();
        std::optional<std::int64_t> end =
            front != 0 && fits ? std::optional(offset + front) : EndOfEndTag(file, offset);
        if (!end && offset > 0) {
            end = EndOfHeadlessApe(file, offset);
        }
        if (!end) {
            break;
        }
        offset = *end;
        if (offset >= file.Limit()) {
            break;
        }
    }
    return offset;
}

std::optional<std::int64_t> FindEndTag(Place& file, std::int64_t from, std::int64_t to) {
    const auto beginsTag = [](std::uint8_t byte) {
        return byte == 'T' || byte == 'A' || byte == 'L';
    };
    std::int64_t at = from;
    while (at < to) {
        const ByteSpan bytes = file.From(at);
        if (bytes.empty()) {
            break;
        }
        if (!beginsTag(bytes[0])) {
            at += std::ranges::find_if(bytes, beginsTag) - bytes.begin();
            continue;
        }
        const ByteSpan tag = file.From(at, static_cast<std::size_t>(Id3v1Bytes));
        const bool isTag = StartsWith(tag, PatternOf("TAG"))
                               ? IsId3v1(tag) || StartsWith(tag, PatternOf("TAG+"))
                               : StartsWith(tag, ApeMark) || StartsWith(tag, PatternOf("LYRICSBEGIN"));
        if (isTag && EndOfEndTag(file, at)) {
            return at;
        }
        ++at;
    }
    return std::nullopt;
}

}  // namespace salvor
