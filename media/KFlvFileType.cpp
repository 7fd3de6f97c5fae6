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

// One step of the search for the key in a file that begins at `base`.
Gap::Step SearchPiece(KFileSimulator& reader, std::int64_t base, std::int64_t at, std::int64_t end,
                      std::int64_t sectorSize) {
    std::array<std::uint8_t, KFileSimulator::CacheBytes> bytes{};
    const std::int64_t position = at - base;
    // Pieces end at sector ends where they can, as reads from the current block have to.
    const std::int64_t wholeSectors = (position + std::ssize(bytes)) / sectorSize * sectorSize;
    const std::int64_t pieceEnd = std::min(end - base, wholeSectors);
    reader.Seek(position);
    reader.Read(bytes.data(), static_cast<std::uint32_t>(std::max<std::int64_t>(pieceEnd - position, 0)));
    const std::int64_t got = reader.Tell() - position;
    if (const auto key = Key.FindIn(ByteSpan(bytes).first(static_cast<std::size_t>(got)))) {
        return {at + static_cast<std::int64_t>(*key), true};
    }
    return {at + std::max<std::int64_t>(got - static_cast<std::int64_t>(Key.size()) + 1, 0), false};
}

// The number at the reader's position, without its fraction; nothing if it does not fit into 64 bits.
std::optional<std::int64_t> ReadNumber(KFileSimulator& reader) {
    constexpr double limit = 0x1p63;
    std::array<std::uint8_t, NumberBytes> bytes{};
    if (!reader.Read(bytes.data(), bytes.size())) {
        return std::nullopt;
    }
    const auto number = std::bit_cast<double>(LoadBig<std::uint64_t>(bytes, 0));
    const bool fits = number >= -limit && number < limit;
    return fits ? std::optional<std::int64_t>(static_cast<std::int64_t>(number)) : std::nullopt;
}

}  // namespace

std::int32_t KFlvFileType::Reset() {
    offsets_.Reset();
    return RunStateFileType::Reset();
}

void KFlvFileType::ScanBlock(const SectorBlock* block, IFoundFileSink* sink) {
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
    const std::int64_t tagEnd = TagData + TagBytes(candidate.sector);
    const auto keyBytes = static_cast<std::int64_t>(Key.size());
    const std::int64_t base = offsets_.PlaceOf(candidate.startSector);
    KFileSimulator reader(&block, candidate.startSector, static_cast<std::uint64_t>(Identity.maxSize));
    const auto key = keyGap_.Find(
        base, base + TagData, base + tagEnd - keyBytes + 1,
        [&](std::int64_t at, std::int64_t) { return SearchPiece(reader, base, at, base + tagEnd, block.sectorSize); });
    if (!key || *key + keyBytes + NumberBytes > base + tagEnd) {
        return std::nullopt;
    }
    reader.Seek(*key + keyBytes - base);
    return ReadNumber(reader);
}
