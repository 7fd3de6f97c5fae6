#include "formats/PictureWalks.h"

namespace {

constexpr std::size_t PrefixBytes = 60;
constexpr auto Signature = PatternOf(" EMF");

struct Record {
    std::uint32_t type;
    std::uint32_t size;
};

Record LoadRecord(ByteSpan bytes) { return {LoadLittle<std::uint32_t>(bytes, 0), LoadLittle<std::uint32_t>(bytes, 4)}; }

constexpr std::uint32_t HeaderType = 1;
constexpr std::uint32_t EndType = 14;

bool IsRecord(const Record& record, std::int64_t bytesLeft) {
    // Programs define their own record types above those of the system.
    constexpr std::uint32_t lastType = 0x7FFF;
    return record.type >= 1 && record.type <= lastType && record.size >= 8 && record.size % 4 == 0 &&
           record.size <= bytesLeft;
}

}  // namespace

bool EmfDrawing::IsHeader(ByteSpan sector) {
    if (sector.size() < PrefixBytes || !HasPatternAt(sector, 40, Signature)) {
        return false;
    }
    constexpr std::uint32_t shortestHeader = 88;
    constexpr std::uint32_t longestHeader = 4096;
    constexpr std::uint32_t endRecordBytes = 20;
    constexpr std::uint32_t usualVersion = 0x00010000;
    const Record header = LoadRecord(sector);
    const auto version = LoadLittle<std::uint32_t>(sector, 44);
    const auto bytes = LoadLittle<std::uint32_t>(sector, 48);
    return header.type == HeaderType && header.size >= shortestHeader && header.size <= longestHeader &&
           header.size % 4 == 0 && (version == usualVersion || version == 0) && bytes % 4 == 0 &&
           bytes >= header.size + endRecordBytes && LoadLittle<std::uint32_t>(sector, 52) >= 2 &&
           LoadLittle<std::uint16_t>(sector, 58) == 0;
}

std::optional<WalkedFile> EmfDrawing::Walk(ByteWindow& file) {
    const ByteSpan prefix = file.At(0, PrefixBytes);
    if (prefix.empty()) {
        return std::nullopt;
    }
    const std::int64_t declaredSize = LoadLittle<std::uint32_t>(prefix, 48);
    const bool hasUsualVersion = LoadLittle<std::uint32_t>(prefix, 44) != 0;
    // The cost of stepping to a record, counted in bytes read.
    constexpr std::int64_t recordWork = 64;
    std::int64_t position = LoadRecord(prefix).size;
    for (ByteSpan bytes = file.At(position, 8); !bytes.empty(); bytes = file.At(position, 8)) {
        file.Charge(recordWork);
        const Record record = LoadRecord(bytes);
        if (!IsRecord(record, declaredSize - position)) {
            break;
        }
        position += record.size;
        if (record.type == EndType) {
            return WalkedFile{position};
        }
    }
    return hasUsualVersion && position >= declaredSize - position ? std::optional(WalkedFile{declaredSize, false})
                                                                  : std::nullopt;
}
