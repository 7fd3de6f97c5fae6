#include "formats/PictureWalks.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "formats/DwgHeader2007.h"
#include "frame/bytes/FieldReader.h"
#include "frame/contract/FileTypeCatalog.h"

namespace {

constexpr auto AfterRelease = PatternOf("\0\0\0\0\0");
constexpr std::size_t ReleaseBytes = 6;
constexpr std::size_t CodePageOffset = 0x13;
constexpr std::int64_t LargestFile = FileTypeCatalog[FileTypeIndex::Dwg].maxSize;

// How a release gives the file's end.
enum class EndRule { FixedSections, Locators, SecondCopy, FileSize };

struct DrawingRelease {
    std::string_view text;
    EndRule rule;
};

constexpr std::string_view Release11 = "AC1009";
constexpr std::array<DrawingRelease, 19> Releases{{
    {"AC2.10", EndRule::FixedSections},
    {"AC2.21", EndRule::FixedSections},
    {"AC2.22", EndRule::FixedSections},
    {"AC1001", EndRule::FixedSections},
    {"AC1002", EndRule::FixedSections},
    {"AC1003", EndRule::FixedSections},
    {"AC1004", EndRule::FixedSections},
    {"AC1006", EndRule::FixedSections},
    {Release11, EndRule::FixedSections},
    {"AC1012", EndRule::Locators},
    {"AC1013", EndRule::Locators},
    {"AC1014", EndRule::Locators},
    {"AC1015", EndRule::Locators},
    {"AC1018", EndRule::SecondCopy},
    {"AC1021", EndRule::FileSize},
    {"AC1024", EndRule::SecondCopy},
    {"AC1027", EndRule::SecondCopy},
    {"AC1032", EndRule::SecondCopy},
    // Reserved for a future release.
    {"AC1035", EndRule::SecondCopy},
}};

const DrawingRelease* ReleaseOf(ByteSpan header) {
    const auto* const found = std::ranges::find_if(Releases, [header](const DrawingRelease& release) {
        return std::ranges::equal(release.text, header.first(ReleaseBytes));
    });
    return found == Releases.end() ? nullptr : found;
}

// Sections in fixed order: entities, tables, blocks and later additions. Bits 24 and up of a size are flags.
constexpr std::size_t SectionsOffset = 0x14;
constexpr std::uint32_t SizeBits = 0xFFFFFF;
constexpr std::uint32_t FirstSection = 0x200;
// Releases 11 and 12 add a second header, which ends with this.
constexpr std::int64_t AuxiliaryBytes = 0xBA;
constexpr auto AuxiliaryEnd = PatternOf("\xD6\x72\x2E\xB6\x56\x8C\xE0\x15\x66\x21\xCD\x06\xB2\xF5\x1F\xE6");
constexpr BytePattern AuxiliaryEndMark{AuxiliaryEnd};
// How far past the known end the searches go.
constexpr std::int64_t SlackBytes = 1024;

std::int64_t EndOfAuxiliaryHeader(ByteWindow& file, std::int64_t end) {
    const auto length = static_cast<std::int64_t>(AuxiliaryEnd.size());
    const std::int64_t wanted = end + AuxiliaryBytes;
    if (StartsWith(file.At(wanted - length, AuxiliaryEnd.size()), AuxiliaryEnd)) {
        return wanted;
    }
    const std::optional<std::int64_t> found = file.Find(AuxiliaryEndMark, end, wanted + SlackBytes);
    return found ? *found + length : end;
}

std::optional<std::int64_t> EndOfFixedSections(ByteWindow& file, bool hasAuxiliaryHeader) {
    FieldReader fields(file, SectionsOffset);
    const auto entities = fields.Little<std::uint32_t>();
    const auto entitiesEnd = fields.Little<std::uint32_t>();
    const std::int64_t blocks = fields.Little<std::uint32_t>();
    const std::int64_t blocksEnd = blocks + (fields.Little<std::uint32_t>() & SizeBits);
    const std::int64_t extras = fields.Little<std::uint32_t>();
    const std::int64_t extrasEnd = extras + (fields.Little<std::uint32_t>() & SizeBits);
    if (fields.IsBroken() || entities < FirstSection || entities > entitiesEnd || entitiesEnd > blocks) {
        return std::nullopt;
    }
    const std::int64_t end = std::max(blocksEnd, extrasEnd);
    return hasAuxiliaryHeader ? EndOfAuxiliaryHeader(file, end) : end;
}

// A table of section locators (number, address and size), followed by a sentinel.
constexpr std::size_t PreviewOffset = 0x0D;
constexpr std::size_t LocatorsOffset = 0x15;
constexpr std::uint32_t FewestLocators = 3;
constexpr std::uint32_t MostLocators = 6;
constexpr std::uint8_t ObjectMap = 2;
constexpr std::uint64_t ChecksumBytes = 2;
constexpr auto LocatorsEnd = PatternOf("\x95\xA0\x4E\x28\x99\x82\x1A\xE5\x5E\x41\xE0\x5F\x9D\x3A\x4D\0");
constexpr std::uint32_t FirstPreview = 0x58;
constexpr auto PreviewStart = PatternOf("\x1F\x25\x6D\x07\xD4\x36\x28\x28\x9D\x57\xCA\x3F\x9D\x44\x10\x2B");
constexpr std::uint64_t SentinelBytes = 16;
// Ends the second header, which has no locator.
constexpr BytePattern SecondHeaderEndMark =
    BytePatternOf<"\x2B\x84\xDE\x31\xD7\x6C\x60\x40\xAC\xDB\xBF\xF6\xED\xC3\x55\xFE">();
// Far more than a preview and the second header take.
constexpr std::int64_t MostBytesAfterMap = 0x2000000;

std::int64_t EndOfPreview(ByteWindow& file) {
    FieldReader address(file, PreviewOffset);
    const auto start = address.Little<std::uint32_t>();
    FieldReader preview(file, start);
    if (start < FirstPreview || !StartsWith(preview.Take(PreviewStart.size()), PreviewStart)) {
        return 0;
    }
    preview.Skip(preview.Little<std::uint32_t>() + SentinelBytes);
    return preview.IsBroken() ? 0 : preview.Position();
}

std::optional<std::int64_t> EndOfLocated(ByteWindow& file) {
    FieldReader fields(file, LocatorsOffset);
    const auto count = fields.Little<std::uint32_t>();
    if (count < FewestLocators || count > MostLocators) {
        return std::nullopt;
    }
    std::int64_t end = 0;
    std::int64_t mapEnd = 0;
    for (std::uint32_t i = 0; i < count; ++i) {
        const std::uint8_t number = fields.Byte();
        const std::int64_t address = fields.Little<std::uint32_t>();
        const std::int64_t size = fields.Little<std::uint32_t>();
        if (size > 0) {
            end = std::max(end, address + size);
        }
        mapEnd = number == ObjectMap ? address + size : mapEnd;
    }
    fields.Skip(ChecksumBytes);
    if (!StartsWith(fields.Take(LocatorsEnd.size()), LocatorsEnd)) {
        return std::nullopt;
    }
    end = std::max(end, EndOfPreview(file));
    const std::int64_t searchEnd = std::min(end + SlackBytes, mapEnd + MostBytesAfterMap);
    if (const std::optional<std::int64_t> found = file.Find(SecondHeaderEndMark, mapEnd, searchEnd)) {
        end = std::max(end, *found + static_cast<std::int64_t>(SecondHeaderEndMark.size()));
    }
    return end;
}

// The encrypted header; its copy ends the file.
constexpr std::size_t CopiedHeaderOffset = 0x80;
constexpr std::size_t CopiedHeaderBytes = 0x6C;
constexpr auto CopiedHeaderStart = PatternOf("AcFssFcAJMB\0");
constexpr std::size_t CopyAddressOffset = 0x34;
constexpr std::uint64_t FirstCopy = 0x100;

std::optional<std::int64_t> EndOfSecondCopy(ByteWindow& file) {
    const ByteSpan encrypted = file.At(CopiedHeaderOffset, CopiedHeaderBytes);
    if (encrypted.empty()) {
        return std::nullopt;
    }
    std::array<std::uint8_t, CopiedHeaderBytes> header{};
    std::uint32_t state = 1;
    for (std::size_t i = 0; i < CopiedHeaderBytes; ++i) {
        state = state * 0x343FD + 0x269EC3;
        header[i] = static_cast<std::uint8_t>(encrypted[i] ^ (state >> 16U));
    }
    const auto copy = LoadLittle<std::uint64_t>(header, CopyAddressOffset);
    if (!StartsWith(header, CopiedHeaderStart) || copy < FirstCopy || copy >= std::uint64_t{LargestFile}) {
        return std::nullopt;
    }
    // Even a damaged copy ends the file.
    return static_cast<std::int64_t>(copy + CopiedHeaderBytes);
}

// How far before the end the second copy of the header is, counted from the end of the first.
constexpr std::int64_t FirstNumber = 0x70;
constexpr std::int64_t SecondHeaderToEnd = 0x880;

std::optional<std::int64_t> EndOfFileSize(ByteWindow& file) {
    const std::optional<DwgHeader2007> header = DecodeDwgHeader2007(file.At(CopiedHeaderOffset, DwgHeader2007Bytes));
    if (!header || header->headerBytes != FirstNumber || header->fileSize < SecondHeaderToEnd ||
        header->secondHeader != header->fileSize - SecondHeaderToEnd) {
        return std::nullopt;
    }
    return header->fileSize;
}

std::optional<std::int64_t> EndOf(ByteWindow& file, const DrawingRelease& release) {
    switch (release.rule) {
        case EndRule::FixedSections:
            return EndOfFixedSections(file, release.text == Release11);
        case EndRule::Locators:
            return EndOfLocated(file);
        case EndRule::SecondCopy:
            return EndOfSecondCopy(file);
        case EndRule::FileSize:
            return EndOfFileSize(file);
    }
    return std::nullopt;
}

}  // namespace

bool DwgDrawing::IsHeader(ByteSpan sector) {
    if (!HasPatternAt(sector, ReleaseBytes, AfterRelease)) {
        return false;
    }
    const DrawingRelease* const release = ReleaseOf(sector);
    return release != nullptr &&
           (release->rule == EndRule::FixedSections || LoadLittle<std::uint16_t>(sector, CodePageOffset) < 100);
}

std::optional<WalkedFile> DwgDrawing::Walk(ByteWindow& file) {
    const ByteSpan start = file.At(0, ReleaseBytes);
    const DrawingRelease* const release = start.empty() ? nullptr : ReleaseOf(start);
    const std::optional<std::int64_t> end = release == nullptr ? std::nullopt : EndOf(file, *release);
    return end && *end <= file.Limit() ? std::optional(WalkedFile{*end}) : std::nullopt;
}
