#include <FileTypeCatalog.h>

#include <algorithm>
#include <array>

#include "host/validators/broken.h"
#include "host/validators/media/open_sound.h"
#include "host/validators/validator.h"

namespace salvor {

namespace {

// Sun and NeXT sounds: six numbers of 32 bits, then a text, then the sound. The blocks of sound editors' projects have
// the numbers, the signature among them, in little-endian order.
constexpr auto AuSignature = PatternOf(".snd");
constexpr auto LittleAuSignature = PatternOf("dns.");
constexpr std::size_t AuHeaderBytes = 24;
constexpr std::uint32_t AuUnknownSize = 0xFFFFFFFF;

struct AuHeader {
    std::uint32_t dataOffset;
    std::uint32_t dataSize;
    std::uint32_t encoding;
    std::uint32_t rate;
    std::uint32_t channels;
};

AuHeader AuHeaderOf(ByteSpan head) {
    const bool isLittle = StartsWith(head, LittleAuSignature);
    const auto number = [&](std::size_t index) {
        return isLittle ? LoadLittle<std::uint32_t>(head, 4 * index) : LoadBig<std::uint32_t>(head, 4 * index);
    };
    return {number(1), number(2), number(3), number(4), number(5)};
}

bool BeginsAu(ByteSpan head) {
    constexpr std::uint32_t longestText = 0x10000;
    constexpr std::uint32_t lastEncoding = 27;
    if (head.size() < AuHeaderBytes || !(StartsWith(head, AuSignature) || StartsWith(head, LittleAuSignature))) {
        return false;
    }
    const AuHeader header = AuHeaderOf(head);
    return header.dataOffset >= AuHeaderBytes && header.dataOffset <= longestText && header.encoding > 0 &&
           header.encoding <= lastEncoding && header.rate >= 100 && header.rate <= 1'000'000 && header.channels > 0 &&
           header.channels <= 256;
}

Finding ValidateAu(Place& file) {
    std::array<std::uint8_t, AuHeaderBytes> head{};
    if (!file.Copy(0, head)) {
        return {};
    }
    const AuHeader header = AuHeaderOf(head);
    const std::uint32_t dataOffset = header.dataOffset;
    const std::uint32_t dataSize = header.dataSize;
    if (dataSize == AuUnknownSize) {
        return {Verdict::Open, EndOfOpenSound(file, dataOffset), FileTypeIndex::Au, {}, "written without its length"};
    }
    const std::int64_t end = std::int64_t{dataOffset} + dataSize;
    if (end > file.Limit()) {
        return BrokenAt(file, dataOffset, end, FileTypeIndex::Au, "the sound");
    }
    return {Verdict::Whole, end, FileTypeIndex::Au, {}, "the sound is as long as its header says"};
}

constexpr StartSignature AuStarts[] = {{".snd"}, {"dns."}};

// SMAF: one chunk around all others. Its last two bytes are a CRC-16 of all bytes before them.
constexpr auto SmafSignature = PatternOf("MMMD");
constexpr std::size_t ChunkHeaderBytes = 8;
constexpr std::int64_t ChecksumBytes = 2;

bool BeginsSmaf(ByteSpan head) {
    return head.size() >= 2 * ChunkHeaderBytes && StartsWith(head, SmafSignature) &&
           HasPatternAt(head, ChunkHeaderBytes, PatternOf("CNTI"));
}

// Do chunks fill it up to `end`, leaving no room for a checksum?
bool ChunksTile(Place& file, std::int64_t end) {
    auto at = static_cast<std::int64_t>(ChunkHeaderBytes);
    while (at < end) {
        const ByteSpan header = file.At(at, ChunkHeaderBytes);
        if (header.empty()) {
            return false;
        }
        at += static_cast<std::int64_t>(ChunkHeaderBytes) + LoadBig<std::uint32_t>(header, 4);
    }
    return at == end;
}

Finding ValidateSmaf(Place& file) {
    const ByteSpan head = file.At(0, ChunkHeaderBytes);
    if (head.empty()) {
        return {};
    }
    const std::int64_t end = static_cast<std::int64_t>(ChunkHeaderBytes) + LoadBig<std::uint32_t>(head, 4);
    if (end > file.Limit()) {
        return BrokenAt(file, static_cast<std::int64_t>(2 * ChunkHeaderBytes), end, FileTypeIndex::Mmf, "the ringtone");
    }
    std::uint16_t sum = 0xFFFF;
    for (std::int64_t at = 0; at < end - ChecksumBytes;) {
        const ByteSpan shown = file.From(at);
        if (shown.empty()) {
            break;
        }
        const auto left = static_cast<std::size_t>(end - ChecksumBytes - at);
        for (const std::uint8_t byte : shown.first(std::min(shown.size(), left))) {
            sum = static_cast<std::uint16_t>(sum ^ (std::uint32_t{byte} << 8U));
            for (int bit = 0; bit < 8; ++bit) {
                const bool carries = (sum & 0x8000U) != 0;
                sum = static_cast<std::uint16_t>((std::uint32_t{sum} << 1U) ^ (carries ? 0x1021U : 0U));
            }
            ++at;
        }
    }
    if (ChunksTile(file, end)) {
        return Unbroken(
            {Verdict::Open, end, FileTypeIndex::Mmf, {}, "chunks tile it; its writer left the checksum out"});
    }
    const ByteSpan declared = file.At(end - ChecksumBytes, ChecksumBytes);
    if (declared.empty() || LoadBig<std::uint16_t>(declared, 0) != static_cast<std::uint16_t>(~sum)) {
        return {Verdict::Damaged, end, FileTypeIndex::Mmf, {}, "the checksum at its end is wrong"};
    }
    return {Verdict::Whole, end, FileTypeIndex::Mmf, {}, "the checksum at its end is right"};
}

constexpr StartSignature SmafStarts[] = {{"MMMD"}};

constexpr std::int32_t AuTypes[] = {FileTypeIndex::Au};
constexpr std::int32_t SmafTypes[] = {FileTypeIndex::Mmf};

}  // namespace

/// Sun and NeXT sounds. Source: the .snd audio file header of Sun and NeXT.
extern const Validator AuValidator;
const Validator AuValidator{
    .name = "au", .starts = AuStarts, .begins = BeginsAu, .validate = ValidateAu, .types = AuTypes};

/// SMAF ringtones. Source: SMAF specification, file chunk.
extern const Validator SmafValidator;
const Validator SmafValidator{
    .name = "smaf", .starts = SmafStarts, .begins = BeginsSmaf, .validate = ValidateSmaf, .types = SmafTypes};

}  // namespace salvor
