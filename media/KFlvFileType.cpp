#include "media/KFlvFileType.h"

#include <algorithm>
#include <array>
#include <bit>
#include <limits>

#include "frame/bytes/BytePattern.h"
#include "frame/read/KFileSimulator.h"

static_assert(std::numeric_limits<double>::is_iec559, "script data hold IEEE 754 numbers");

namespace {

constexpr std::size_t MinSectorBytes = 512;
constexpr auto Signature = PatternOf("FLV\x01");
// The first tag follows the file header of 9 bytes and a back pointer of 4: its type, then its size in 3 bytes.
constexpr std::size_t TagType = 13;
constexpr std::uint8_t ScriptData = 0x12;
constexpr std::uint32_t TagSizeBits = 0xFFFFFF;
constexpr std::int64_t TagData = 24;

// The low byte of the key's length, the key, and the type byte of a number.
constexpr BytePattern Key = BytePatternOf<"\x08\x66ilesize\0">();
constexpr std::uint32_t NumberBytes = 8;

// The low 24 bits of the tag's first 4 bytes.
std::uint32_t TagBytes(ByteSpan sector) { return LoadBig<std::uint32_t>(sector, TagType) & TagSizeBits; }

bool IsHeader(ByteSpan sector) {
    return sector.size() >= MinSectorBytes && StartsWith(sector, Signature) && sector[TagType] == ScriptData &&
           TagBytes(sector) >= 1;
}

// Sectors larger than the reader's cache can be read from the block only, and only whole.
bool ComesFromBlock(const SectorBlock& block) { return block.sectorSize > KFileSimulator::CacheBytes; }

// How far the tag can be read; counted, like its end, from the candidate's start.
std::int64_t ReadableEnd(const Candidate& candidate, std::int64_t tagEnd) {
    if (!ComesFromBlock(candidate.block)) {
        return tagEnd;
    }
    const std::int64_t sectorSize = candidate.block.sectorSize;
    return std::min(tagEnd / sectorSize * sectorSize, std::ssize(candidate.RestOfBlock()));
}

ByteSpan PartOf(ByteSpan bytes, std::int64_t from, std::int64_t to) {
    return bytes.subspan(static_cast<std::size_t>(from), static_cast<std::size_t>(to - from));
}

// One step of the search for the key in bytes that begin at `at`.
Gap::Step SearchBytes(ByteSpan bytes, std::int64_t at) {
    if (const auto key = Key.FindIn(bytes)) {
        return {at + static_cast<std::int64_t>(*key), true};
    }
    return {at + std::max<std::int64_t>(std::ssize(bytes) - static_cast<std::int64_t>(Key.size()) + 1, 0), false};
}

// The same in a file that begins at `base`.
Gap::Step SearchPiece(KFileSimulator& reader, std::int64_t base, std::int64_t at, std::int64_t end,
                      std::int64_t sectorSize) {
    std::array<std::uint8_t, KFileSimulator::CacheBytes> bytes{};
    const std::int64_t position = at - base;
    // Pieces end at sector ends where they can, as reads from the current block have to.
    const std::int64_t wholeSectors = (position + std::ssize(bytes)) / sectorSize * sectorSize;
    const std::int64_t pieceEnd = std::min(end - base, wholeSectors);
    reader.Seek(position);
    reader.Read(bytes.data(), static_cast<std::uint32_t>(std::max<std::int64_t>(pieceEnd - position, 0)));
    return SearchBytes(ByteSpan(bytes).first(static_cast<std::size_t>(reader.Tell() - position)), at);
}

// The number without its fraction; nothing if it does not fit into 64 bits.
std::optional<std::int64_t> WholeNumber(ByteSpan bytes) {
    constexpr double limit = 0x1p63;
    const auto number = std::bit_cast<double>(LoadBig<std::uint64_t>(bytes, 0));
    const bool fits = number >= -limit && number < limit;
    return fits ? std::optional<std::int64_t>(static_cast<std::int64_t>(number)) : std::nullopt;
}

}  // namespace

std::int32_t KFlvFileType::Reset() {
    offsets_.Reset();
    return RunStateFileType::Reset();
}

std::int32_t KFlvFileType::HeaderWords(HeaderWord* words, std::int32_t capacity) {
    return HeaderWordsOf(SectorFilterOf(Signature), words, capacity);
}

void KFlvFileType::ScanBlock(const SectorBlock* block, IFoundFileSink* sink) {
    if (block->sectorCount < 1) {
        return;
    }
    if (!offsets_.Enter(*block)) {
        keyGap_.Forget();
    }
    ForEachSector(*block, SectorFilterOf(Signature), [&](const Candidate& candidate) {
        if (!IsHeader(candidate.sector)) {
            return;
        }
        OpenRun(run_, candidate.startSector);
        if (const std::optional<std::int64_t> size = DeclaredSize(candidate)) {
            const FoundFile file{candidate.startSector, *size};
            sink->ReportFound(&file);
        }
        CloseRun(run_);
    });
}

std::optional<std::int64_t> KFlvFileType::DeclaredSize(const Candidate& candidate) {
    const SectorBlock& block = candidate.block;
    // The key and its number lie in the tag.
    const std::int64_t end = ReadableEnd(candidate, TagData + TagBytes(candidate.sector));
    const auto keyBytes = static_cast<std::int64_t>(Key.size());
    const std::int64_t base = offsets_.PlaceOf(candidate.startSector);
    KFileSimulator reader(&block, candidate.startSector, static_cast<std::uint64_t>(Identity.maxSize));
    const auto search = [&](std::int64_t at, std::int64_t) {
        return ComesFromBlock(block) ? SearchBytes(PartOf(candidate.RestOfBlock(), at - base, end), at)
                                     : SearchPiece(reader, base, at, base + end, block.sectorSize);
    };
    const auto key = keyGap_.Find(base, base + TagData, base + end - keyBytes + 1, search);
    if (!key || *key + keyBytes + NumberBytes > base + end) {
        return std::nullopt;
    }
    const std::int64_t number = *key + keyBytes - base;
    if (ComesFromBlock(block)) {
        return WholeNumber(PartOf(candidate.RestOfBlock(), number, number + NumberBytes));
    }
    std::array<std::uint8_t, NumberBytes> bytes{};
    reader.Seek(number);
    return reader.Read(bytes.data(), NumberBytes) ? WholeNumber(bytes) : std::nullopt;
}
