#include "documents/KSdrFileType.h"

namespace {

constexpr std::size_t PrefixBytes = 32;

constexpr unsigned OpensGroup = 0x8000;
constexpr unsigned ClosesGroup = 0x4000;
constexpr unsigned EndOfFile = 0x4001;
constexpr unsigned HeaderGroup = 0x8002;
constexpr unsigned HeaderGroupEnd = 0x4002;

bool IsSoundCode(unsigned code) {
    constexpr unsigned lastNumber = 0xFFF;
    const unsigned number = code & ~(OpensGroup | ClosesGroup);
    return number >= 1 && number <= lastNumber;
}

// A record: its code, and where its data end.
struct Record {
    unsigned code;
    std::int64_t end;
};

std::optional<Record> ReadRecord(FileWindow& file, std::int64_t position) {
    constexpr std::int64_t recordWork = 64;
    file.Charge(recordWork);
    const ByteSpan codeBytes = file.At(position, 2);
    if (codeBytes.empty()) {
        return std::nullopt;
    }
    const unsigned code = LoadLittle<std::uint16_t>(codeBytes, 0);
    if (!IsSoundCode(code)) {
        return std::nullopt;
    }
    if ((code & ClosesGroup) != 0) {
        return Record{code, position + 2};
    }
    const ByteSpan lengthBytes = file.At(position + 2, 4);
    if (lengthBytes.empty()) {
        return std::nullopt;
    }
    const std::int64_t end = position + 6 + LoadLittle<std::uint32_t>(lengthBytes, 0);
    return end <= file.Limit() ? std::optional(Record{code, end}) : std::nullopt;
}

}  // namespace

bool KSdrFileType::IsHeader(ByteSpan sector) {
    if (sector.size() < PrefixBytes) {
        return false;
    }
    constexpr std::uint32_t shortestVersion = 14;
    constexpr std::uint32_t longestVersion = 64;
    constexpr unsigned lastFileVersion = 99;
    constexpr unsigned lastPlatform = 20;
    const auto length = LoadLittle<std::uint32_t>(sector, 10);
    const unsigned fileVersion = LoadLittle<std::uint16_t>(sector, 14);
    const unsigned platform = LoadLittle<std::uint16_t>(sector, 18);
    const unsigned oldestReader = LoadLittle<std::uint16_t>(sector, 20);
    const unsigned drawResolution = LoadLittle<std::uint16_t>(sector, 24);
    return length >= shortestVersion && length <= longestVersion && fileVersion >= 1 &&
           fileVersion <= lastFileVersion && oldestReader <= fileVersion && platform >= 1 && platform <= lastPlatform &&
           drawResolution > 0;
}

// Groups are not counted, because some share an end.
std::optional<std::int64_t> KSdrFileType::Walk(FileWindow& file) {
    constexpr std::int32_t mostRecords = 1 << 22;
    constexpr std::int32_t fewestRecords = 16;
    std::int64_t position = 8;
    bool hasHeaderStart = false;
    bool hasHeader = false;
    std::int32_t count = 0;
    for (; count < mostRecords; ++count) {
        const std::optional<Record> record = ReadRecord(file, position);
        if (!record) {
            break;
        }
        position = record->end;
        if (record->code == EndOfFile) {
            return position;
        }
        hasHeaderStart = hasHeaderStart || record->code == HeaderGroup;
        hasHeader = hasHeader || (hasHeaderStart && record->code == HeaderGroupEnd);
    }
    return hasHeader && count >= fewestRecords ? std::optional(position) : std::nullopt;
}
