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

// The low byte of the key's length, the key, the type of a number.
constexpr BytePattern Key = BytePatternOf<"\x08\x66ilesize\0">();
constexpr std::uint32_t NumberBytes = 8;

// Read at a time, as much as the reader's cache holds; in front of it stands what may be the start of a key.
constexpr std::size_t PieceBytes = KFileSimulator::CacheBytes;
constexpr std::size_t OverlapBytes = Key.size() - 1;

// The low 24 bits of the tag's first 4 bytes.
std::uint32_t TagBytes(ByteSpan sector) { return LoadBig<std::uint32_t>(sector, TagType) & TagSizeBits; }

bool IsHeader(ByteSpan sector) {
    return sector.size() >= MinSectorBytes && StartsWith(sector, Signature) && sector[TagType] == ScriptData &&
           TagBytes(sector) >= 1;
}

// Position of the first key that begins at the reader's position or behind and ends at `end` or in front of it; without
// one, where a key may begin that was not seen whole.
struct Search {
    std::int64_t position;
    bool found;
};
Search FindKey(KFileSimulator& reader, std::int64_t end, std::int64_t sectorSize) {
    std::array<std::uint8_t, OverlapBytes + PieceBytes> bytes{};
    std::size_t kept = 0;
    for (;;) {
        const std::int64_t position = reader.Tell();
        // Pieces end at sector ends where they can, as reads from the block in hand have to.
        const std::int64_t wholeSectors = (position + static_cast<std::int64_t>(PieceBytes)) / sectorSize * sectorSize;
        const std::int64_t pieceEnd = std::min(end, wholeSectors);
        const std::int64_t wanted = std::max<std::int64_t>(pieceEnd - position, 0);
        reader.Read(bytes.data() + kept, static_cast<std::uint32_t>(wanted));
        const std::int64_t got = reader.Tell() - position;
        const std::size_t filled = kept + static_cast<std::size_t>(got);
        const std::int64_t origin = position - static_cast<std::int64_t>(kept);
        if (const auto key = Key.FindIn(ByteSpan(bytes).first(filled))) {
            return {origin + static_cast<std::int64_t>(*key), true};
        }
        kept = std::min(filled, OverlapBytes);
        if (got == 0) {
            return {reader.Tell() - static_cast<std::int64_t>(kept), false};
        }
        std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(filled - kept), kept, bytes.begin());
    }
}

// The number at the reader's position, without its fraction; nothing for one that has no place in 64 bits.
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
    keyless_ = {};
    return RunStateFileType::Reset();
}

void KFlvFileType::ScanBlock(const SectorBlock* block, IFoundFileSink* sink) {
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
    const std::int64_t end = TagData + TagBytes(candidate.sector);
    const std::uint64_t origin =
        static_cast<std::uint64_t>(candidate.startSector) * static_cast<std::uint64_t>(block.sectorSize);
    const std::uint64_t begin = origin + TagData;
    const bool continues = begin - keyless_.from <= keyless_.to - keyless_.from;
    const auto searchFrom = continues ? static_cast<std::int64_t>(keyless_.to - origin) : TagData;
    if (searchFrom + static_cast<std::int64_t>(Key.size()) > end) {
        return std::nullopt;
    }
    KFileSimulator reader(&block, candidate.startSector, static_cast<std::uint64_t>(Identity.maxSize));
    reader.Seek(searchFrom);
    const Search key = FindKey(reader, end, block.sectorSize);
    keyless_ = {continues ? keyless_.from : begin, origin + static_cast<std::uint64_t>(key.position)};
    const std::int64_t number = key.position + static_cast<std::int64_t>(Key.size());
    if (!key.found || number + NumberBytes > end) {
        return std::nullopt;
    }
    reader.Seek(number);
    return ReadNumber(reader);
}
