#include <FileTypeCatalog.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <optional>

#include "frame/bytes/FieldReader.h"
#include "host/validators/broken.h"
#include "host/validators/validator.h"

namespace salvor {

namespace {

constexpr auto FileSignature = PatternOf(".RMF");
constexpr auto PropertiesName = PatternOf("PROP");
constexpr auto DataName = PatternOf("DATA");
// Four characters, the size, which counts these ten bytes, and the chunk's version.
constexpr std::size_t ChunkHeaderBytes = 10;
// Includes the number of packets and the offset of the next data chunk.
constexpr std::size_t DataHeaderBytes = 18;
constexpr std::uint32_t LargestHeaderChunk = 0x1000000;
constexpr std::size_t PacketHeaderBytes = 12;
constexpr std::int64_t PaddingBytes = 8;

struct Chunk {
    Pattern<4> name;
    std::uint32_t size;
};

std::optional<Chunk> ReadChunk(Place& file, std::int64_t offset) {
    std::array<std::uint8_t, ChunkHeaderBytes> header{};
    if (!file.Copy(offset, header)) {
        return std::nullopt;
    }
    Chunk chunk{};
    std::copy_n(header.begin(), chunk.name.size(), chunk.name.begin());
    chunk.size = LoadBig<std::uint32_t>(header, 4);
    const bool isName =
        std::ranges::all_of(chunk.name, [](int c) { return std::isupper(c) != 0 || std::isdigit(c) != 0; });
    return isName && chunk.size >= ChunkHeaderBytes ? std::optional(chunk) : std::nullopt;
}

// The packets of the data chunk at `offset`: as many as it declares, or all there are if it declares none.
struct Packets {
    std::int64_t end;
    bool areAll;
};
Packets WalkPackets(Place& file, std::int64_t offset, std::uint32_t count) {
    std::int64_t at = offset + static_cast<std::int64_t>(DataHeaderBytes);
    for (std::uint32_t i = 0; i < count || count == 0; ++i) {
        const ByteSpan header = file.At(at, PacketHeaderBytes);
        const std::uint16_t version = header.empty() ? std::uint16_t{0xFFFF} : LoadBig<std::uint16_t>(header, 0);
        const std::uint16_t length = header.empty() ? std::uint16_t{0} : LoadBig<std::uint16_t>(header, 2);
        if (version > 1 || length < PacketHeaderBytes || at + length > file.Limit()) {
            return {at, count == 0};
        }
        at += length;
    }
    return {at, true};
}

class RealMediaWalk {
public:
    explicit RealMediaWalk(Place& file) : file_(file) {}

    Finding Run() {
        const ByteSpan head = file_.At(0, ChunkHeaderBytes);
        if (head.empty()) {
            return {};
        }
        end_ = LoadBig<std::uint32_t>(head, 4);
        while (const std::optional<Chunk> chunk = ReadChunk(file_, end_)) {
            if (chunk->name == DataName) {
                if (std::optional<Finding> broken = TakeData(*chunk)) {
                    return *broken;
                }
                continue;
            }
            const std::int64_t end = end_ + chunk->size;
            if (chunk->size > LargestHeaderChunk || end > file_.Limit()) {
                break;
            }
            hasProperties_ = hasProperties_ || chunk->name == PropertiesName;
            end_ = end;
        }
        if (!hasProperties_) {
            return {};
        }
        if (!hasData_) {
            return BrokenAt(file_, end_, end_ + 1, FileTypeIndex::Rm, "no data after the headers");
        }
        return {Verdict::Whole, end_, FileTypeIndex::Rm, {}, "all packets that its data chunks declare"};
    }

private:
    // Writers disagree on what the chunk's size covers, so the packets decide.
    std::optional<Finding> TakeData(const Chunk& chunk) {
        const ByteSpan header = file_.At(end_, DataHeaderBytes);
        if (header.empty()) {
            return BrokenAt(file_, end_, file_.Limit() + 1, FileTypeIndex::Rm, "the data");
        }
        const auto count = LoadBig<std::uint32_t>(header, 10);
        const auto next = LoadBig<std::uint32_t>(header, 14);
        const Packets packets = WalkPackets(file_, end_, count);
        if (!packets.areAll) {
            return BrokenAt(file_, packets.end, packets.end + 1, FileTypeIndex::Rm, "a packet of the data");
        }
        const bool disagrees = packets.end != end_ + chunk.size;
        end_ = packets.end;
        hasData_ = true;
        const ByteSpan behind = file_.At(end_, PaddingBytes);
        if (disagrees && next == 0 && !behind.empty() && std::ranges::all_of(behind, [](int b) { return b == 0; })) {
            end_ += PaddingBytes;
        }
        return std::nullopt;
    }

    Place& file_;
    std::int64_t end_ = 0;
    bool hasProperties_ = false;
    bool hasData_ = false;
};

bool BeginsRealMedia(ByteSpan head) {
    return head.size() >= ChunkHeaderBytes && StartsWith(head, FileSignature) &&
           LoadBig<std::uint32_t>(head, 4) >= 16 && LoadBig<std::uint32_t>(head, 4) <= 256;
}

constexpr StartSignature Starts[] = {{".RMF"}};

constexpr std::int32_t Types[] = {FileTypeIndex::Rm};

}  // namespace

/// RealMedia files. Source: RealMedia File Format (RMFF) Reference, on headers, data chunk and packets.
extern const Validator RealMediaValidator;
const Validator RealMediaValidator{.name = "realmedia",
                                   .starts = Starts,
                                   .begins = BeginsRealMedia,
                                   .validate = [](Place& file) { return RealMediaWalk(file).Run(); },
                                   .types = Types};

}  // namespace salvor
