#include <algorithm>
#include <optional>

#include "frame/bytes/FieldReader.h"
#include "frame/contract/FileTypeCatalog.h"
#include "host/validators/broken.h"
#include "host/validators/crc32.h"
#include "host/validators/validator.h"

namespace salvor {

namespace {

using namespace std::string_view_literals;

constexpr auto Marker4 = PatternOf("Rar!\x1A\x07\0");
constexpr auto Marker5 = PatternOf("Rar!\x1A\x07\1\0");

// A block's header. Offsets and sizes in bytes.
struct Block {
    enum class Kind : std::uint8_t { Other, Stored, End, Encryption } kind = Kind::Other;
    // The end of its header.
    std::int64_t data = 0;
    std::int64_t dataSize = 0;
    // For a stored file that is wholly in this block.
    std::optional<std::uint32_t> crc;
    // Written by a version that closes archives with an end block.
    bool isModern = false;
    // An end block after which another volume follows.
    bool hasNextVolume = false;
};

// ---- Versions 1.5 to 4: TechNote.txt of RAR 4, "Archive format" ----

constexpr std::uint8_t ArchiveHeader = 0x73;
constexpr std::uint8_t FileHeader = 0x74;
constexpr std::uint8_t NewSubBlock = 0x7A;
constexpr std::uint8_t EndOfArchive = 0x7B;
constexpr std::uint16_t HasData = 0x8000;
constexpr std::uint16_t HasEncryptedHeaders = 0x0080;
constexpr std::uint16_t GoesOn = 0x0003;
constexpr std::uint16_t IsEncryptedFile = 0x0004;
constexpr std::uint16_t HasLargeSizes = 0x0100;
constexpr std::uint16_t HasComment = 0x0002;
constexpr std::uint16_t HasFileComment = 0x0008;

constexpr std::size_t ArchiveHeaderBytes = 13;
constexpr std::size_t FileHeaderBytes = 32;

// The part of a header that its checksum covers. Old writers put comments into the headers that they belong to, and
// leave them out of the checksum.
ByteSpan SummedPart(ByteSpan header, std::uint16_t flags) {
    std::size_t size = header.size();
    if (header[2] == ArchiveHeader && (flags & HasComment) != 0) {
        size = ArchiveHeaderBytes;
    } else if (header[2] == FileHeader && (flags & HasFileComment) != 0 && header.size() >= FileHeaderBytes) {
        size = FileHeaderBytes + LoadLittle<std::uint16_t>(header, 26);
    }
    return header.first(std::min(size, header.size())).subspan(2);
}

void ReadFile4(ByteSpan header, std::uint16_t flags, Block& block) {
    constexpr std::uint8_t stored = 0x30;
    constexpr std::uint8_t firstModern = 29;
    if (header.size() < FileHeaderBytes) {
        return;
    }
    if ((flags & HasLargeSizes) != 0 && header.size() >= FileHeaderBytes + 4) {
        block.dataSize += std::int64_t{LoadLittle<std::uint32_t>(header, FileHeaderBytes) & 0x0FFFFFFF} << 32U;
    }
    block.isModern = header[24] >= firstModern;
    if (header[25] == stored && (flags & (GoesOn | IsEncryptedFile)) == 0) {
        block.kind = Block::Kind::Stored;
        block.crc = LoadLittle<std::uint32_t>(header, 16);
    }
}

std::optional<Block> ReadBlock4(Place& file, std::int64_t at) {
    constexpr std::size_t least = 7;
    const ByteSpan fixed = file.At(at, least);
    if (fixed.empty()) {
        return std::nullopt;
    }
    const std::uint8_t type = fixed[2];
    const auto flags = LoadLittle<std::uint16_t>(fixed, 3);
    const std::size_t size = LoadLittle<std::uint16_t>(fixed, 5);
    // Headers longer than a piece of the window do not occur.
    const ByteSpan header = size < least || size > ByteWindow::PieceBytes ? ByteSpan() : file.At(at, size);
    if (header.empty() || type < ArchiveHeader || type > EndOfArchive) {
        return std::nullopt;
    }
    if ((Crc32Of(SummedPart(header, flags)) & 0xFFFFU) != LoadLittle<std::uint16_t>(header, 0)) {
        return std::nullopt;
    }
    Block block;
    block.data = at + static_cast<std::int64_t>(size);
    const bool hasData = (flags & HasData) != 0 || type == FileHeader || type == NewSubBlock;
    if (hasData && size >= least + 4) {
        block.dataSize = LoadLittle<std::uint32_t>(header, least);
    }
    if (type == FileHeader || type == NewSubBlock) {
        ReadFile4(header, flags, block);
    } else if (type == EndOfArchive) {
        block.kind = Block::Kind::End;
    } else if (type == ArchiveHeader && (flags & HasEncryptedHeaders) != 0) {
        block.kind = Block::Kind::Encryption;
    }
    return block;
}

// ---- Version 5: "RAR 5.0 archive format" ----

constexpr std::uint64_t FileHeader5 = 2;
constexpr std::uint64_t ServiceHeader5 = 3;
constexpr std::uint64_t EncryptionHeader5 = 4;
constexpr std::uint64_t EndOfArchive5 = 5;
constexpr std::uint64_t HasExtra5 = 1;
constexpr std::uint64_t HasData5 = 2;
constexpr std::uint64_t GoesOn5 = 0x18;

// Seven bits a byte, the lowest first; the upper bit says that another byte follows.
std::uint64_t VariableNumber(FieldReader& reader) {
    std::uint64_t value = 0;
    for (unsigned shift = 0; shift < 63; shift += 7) {
        const std::uint8_t byte = reader.Byte();
        value |= std::uint64_t{byte & 0x7FU} << shift;
        if ((byte & 0x80U) == 0) {
            return value;
        }
    }
    reader.Break();
    return 0;
}

// Takes the checksum if the file is stored and not encrypted, which its extra area would say.
void ReadFile5(FieldReader& reader, Block& block) {
    constexpr std::uint64_t hasTime = 2;
    constexpr std::uint64_t hasCrc = 4;
    constexpr std::uint64_t methodBits = 0x380;
    const std::uint64_t flags = VariableNumber(reader);
    const std::uint64_t size = VariableNumber(reader);
    VariableNumber(reader);
    reader.Skip((flags & hasTime) != 0 ? 4 : 0);
    const std::uint32_t crc = (flags & hasCrc) != 0 ? reader.Little<std::uint32_t>() : 0;
    const std::uint64_t compression = VariableNumber(reader);
    const bool isPlain = (compression & methodBits) == 0 && size == static_cast<std::uint64_t>(block.dataSize);
    if (!reader.IsBroken() && isPlain && (flags & hasCrc) != 0) {
        block.kind = Block::Kind::Stored;
        block.crc = crc;
    }
}

std::optional<Block> ReadBlock5(Place& file, std::int64_t at) {
    FieldReader reader(file, at);
    const auto crc = reader.Little<std::uint32_t>();
    const std::int64_t summed = reader.Position();
    const std::uint64_t size = VariableNumber(reader);
    constexpr std::uint64_t largest = 0x200000;
    if (reader.IsBroken() || size == 0 || size > largest) {
        return std::nullopt;
    }
    Block block;
    block.data = reader.Position() + static_cast<std::int64_t>(size);
    if (Crc32Of(file, summed, block.data) != crc) {
        return std::nullopt;
    }
    const std::uint64_t type = VariableNumber(reader);
    const std::uint64_t flags = VariableNumber(reader);
    const std::uint64_t extra = (flags & HasExtra5) != 0 ? VariableNumber(reader) : 0;
    constexpr std::uint64_t most = std::uint64_t{1} << 60U;
    block.dataSize = static_cast<std::int64_t>((flags & HasData5) != 0 ? std::min(VariableNumber(reader), most) : 0);
    block.isModern = true;
    if (type == EndOfArchive5) {
        block.kind = Block::Kind::End;
        block.hasNextVolume = (VariableNumber(reader) & 1U) != 0 && !reader.IsBroken();
    } else if (type == EncryptionHeader5) {
        block.kind = Block::Kind::Encryption;
    } else if ((type == FileHeader5 || type == ServiceHeader5) && (flags & GoesOn5) == 0 && extra == 0) {
        ReadFile5(reader, block);
    }
    return block;
}

// ---- Both ----

bool Begins(ByteSpan head) { return StartsWith(head, Marker4) || StartsWith(head, Marker5); }

// All that follows is encrypted: the archive is taken to end at zeros, at the next file or at the medium's end.
Finding EncryptedFrom(Place& file, const std::int64_t from) {
    constexpr std::size_t mostZeros = 64;
    // In bytes: the random numbers in front of each header, and the headers themselves, are multiples of it.
    constexpr std::int64_t unit = 8;
    std::int64_t at = from;
    const std::int64_t end = file.NextStart(at);
    std::size_t zeros = 0;
    while (at < end && zeros < mostZeros) {
        ByteSpan bytes = file.From(at);
        if (bytes.empty()) {
            break;
        }
        bytes = bytes.first(std::min(bytes.size(), static_cast<std::size_t>(end - at)));
        std::size_t seen = 0;
        while (seen < bytes.size() && zeros < mostZeros) {
            zeros = bytes[seen++] == 0 ? zeros + 1 : 0;
        }
        at += static_cast<std::int64_t>(seen);
    }
    // Its last bytes may be zeros.
    const std::int64_t units = (at - static_cast<std::int64_t>(zeros) - from + unit - 1) / unit;
    const std::int64_t size = std::min(from + units * unit, file.Limit());
    return {.verdict = Verdict::Open,
            .size = size,
            .type = FileTypeIndex::Rar,
            .why = "its headers are encrypted",
            .isCertain = true};
}

// All volumes but the last have equal lengths: where the members leave a few bytes, these are zeros.
std::int64_t EndOfVolume(Place& file, std::int64_t end) {
    constexpr std::int64_t unit = 1024;
    constexpr std::int64_t mostZeros = 16;
    const std::int64_t left = (unit - end % unit) % unit;
    const ByteSpan rest = left == 0 || left > mostZeros ? ByteSpan() : file.At(end, static_cast<std::size_t>(left));
    const bool isFilled = std::ranges::all_of(rest, [](std::uint8_t byte) { return byte == 0; });
    return isFilled ? end + std::ssize(rest) : end;
}

// The finding for an archive whose next block, at `at`, cannot be read.
Finding WithoutBlock(Place& file, std::int64_t at, std::int64_t blocks, bool isModern) {
    if (blocks == 0) {
        return {.why = "its first header is damaged"};
    }
    // Old writers put nothing at the end.
    if (!isModern && at < file.Limit() && blocks > 1) {
        return {.verdict = Verdict::Open,
                .size = at,
                .type = FileTypeIndex::Rar,
                .why = "its last block; writers of its time mark no end",
                .isCertain = true};
    }
    return BrokenAt(file, at, at + 1, FileTypeIndex::Rar, "a header is damaged");
}

Finding Validate(Place& file) {
    const bool isNew = StartsWith(file.At(0, Marker5.size()), Marker5);
    std::int64_t at = isNew ? Marker5.size() : Marker4.size();
    bool isModern = isNew;
    for (std::int64_t blocks = 0; !file.IsExhausted(); ++blocks) {
        const std::optional<Block> block = isNew ? ReadBlock5(file, at) : ReadBlock4(file, at);
        if (!block) {
            return WithoutBlock(file, at, blocks, isModern);
        }
        isModern = isModern || block->isModern;
        const std::int64_t next = block->data + block->dataSize;
        if (next > file.Limit()) {
            return BrokenAt(file, at, next, FileTypeIndex::Rar, "a member");
        }
        if (block->kind == Block::Kind::End) {
            const std::int64_t end = block->hasNextVolume ? EndOfVolume(file, next) : next;
            return {Verdict::Whole, end, FileTypeIndex::Rar, {}, "the end block"};
        }
        if (block->kind == Block::Kind::Encryption) {
            return EncryptedFrom(file, next);
        }
        if (block->crc && Crc32Of(file, block->data, next) != block->crc) {
            return BrokenAt(file, at, next, FileTypeIndex::Rar, "a stored member's CRC-32 is another");
        }
        at = next;
    }
    return {.why = "it takes too long to walk"};
}

constexpr StartSignature Starts[] = {{"Rar!\x1A\x07\0"sv}, {"Rar!\x1A\x07\1\0"sv}};

constexpr std::int32_t Types[] = {FileTypeIndex::Rar};

}  // namespace

extern const Validator RarValidator;
const Validator RarValidator{.name = "rar", .starts = Starts, .begins = Begins, .validate = Validate, .types = Types};

}  // namespace salvor
