#include "containers/ZipWalk.h"

#include <algorithm>
#include <array>

#include "frame/bytes/Bytes.h"
#include "frame/bytes/CompareBytesNoCase.h"

namespace {

constexpr std::int64_t LengthLimit = 0x20000000;
constexpr std::size_t SignatureBytes = 4;
constexpr std::int64_t DataDescriptorBytes = 16;
constexpr std::uint16_t LongestName = 260;

struct PackageFolder {
    const char* name;
    std::size_t length;
    std::int32_t kind;
};
constexpr PackageFolder PackageFolders[] = {
    {"ppt/", 4, ZipKind::PowerPoint}, {"word/", 5, ZipKind::Word}, {"xl/", 3, ZipKind::Excel}};
constexpr std::size_t LongestFolder = 5;

std::int32_t KindOfName(const std::array<std::uint8_t, LongestFolder>& name) {
    for (const PackageFolder& folder : PackageFolders) {
        if (CompareBytesNoCase(name.data(), folder.name, folder.length) == 0) {
            return folder.kind;
        }
    }
    return ZipKind::Plain;
}

// A record's fixed part without the signature.
template <std::size_t N>
using RecordRest = std::array<std::uint8_t, N - SignatureBytes>;

template <std::unsigned_integral T>
T Field(ByteSpan rest, std::size_t offsetInRecord) {
    return LoadLittle<T>(rest, offsetInRecord - SignatureBytes);
}

// Size of the header, name, extra field and data.
std::int64_t LocalRecordBytes(ByteSpan rest) {
    return static_cast<std::int64_t>(ZipLocalHeader::Bytes) +
           Field<std::uint32_t>(rest, ZipLocalHeader::CompressedSize) +
           Field<std::uint16_t>(rest, ZipLocalHeader::NameLength) +
           Field<std::uint16_t>(rest, ZipLocalHeader::ExtraLength);
}

}  // namespace

void ZipFacts::Append(const ZipFacts& behind) {
    if (!hasCentralHeader && behind.hasCentralHeader) {
        hasCentralHeader = true;
        localOffset = behind.localOffset;
        compressedSize = behind.compressedSize;
    }
    hasEnd = hasEnd || behind.hasEnd;
    if (kind == ZipKind::Plain) {
        kind = behind.kind;
    }
}

std::optional<ZipWalk::Archive> ZipWalk::Measure(const Candidate& candidate) {
    if (!KFileSimulator::Serves(candidate.block)) {
        return std::nullopt;
    }
    const std::int64_t first = LocalRecordBytes(candidate.sector.subspan(SignatureBytes));
    const auto way = trail_.Walk(candidate, first, LengthLimit + 1, ReadRecord);
    if (!way || !way->facts.hasEnd || (way->facts.hasCentralHeader && !LeadsToFirstMember(candidate, way->facts))) {
        return std::nullopt;
    }
    return Archive{way->to, way->facts.kind};
}

ZipWalk::Step ZipWalk::ReadRecord(KFileSimulator& reader, std::int64_t offset) {
    std::array<std::uint8_t, SignatureBytes> signature{};
    reader.Seek(offset);
    reader.Read(signature.data(), signature.size());
    switch (LoadLittle<std::uint32_t>(signature, 0)) {
        case ZipSignature::LocalHeader:
            return ReadLocalHeader(reader, offset);
        case ZipSignature::CentralHeader:
            return ReadCentralHeader(reader, offset);
        case ZipSignature::EndOfDirectory:
            return ReadEnd(reader, offset);
        case ZipSignature::DataDescriptor:
            return {.to = offset + DataDescriptorBytes};
        default:
            return {.to = offset, .isEnd = true};
    }
}

ZipWalk::Step ZipWalk::ReadLocalHeader(KFileSimulator& reader, std::int64_t offset) {
    RecordRest<ZipLocalHeader::Bytes> rest{};
    reader.Read(rest.data(), rest.size());
    return {.to = offset + LocalRecordBytes(rest)};
}

ZipWalk::Step ZipWalk::ReadCentralHeader(KFileSimulator& reader, std::int64_t offset) {
    RecordRest<ZipCentralHeader::Bytes> rest{};
    reader.Read(rest.data(), rest.size());
    const auto nameLength = Field<std::uint16_t>(rest, ZipCentralHeader::NameLength);
    if (nameLength > LongestName) {
        return {.to = offset, .isEnd = true};
    }
    std::array<std::uint8_t, LongestFolder> name{};
    reader.Read(name.data(), std::min<std::uint32_t>(nameLength, LongestFolder));
    const std::int64_t behind = std::int64_t{nameLength} + Field<std::uint16_t>(rest, ZipCentralHeader::ExtraLength) +
                                Field<std::uint16_t>(rest, ZipCentralHeader::CommentLength);
    return {.to = offset + static_cast<std::int64_t>(ZipCentralHeader::Bytes) + behind,
            .facts = {.hasCentralHeader = true,
                      .kind = KindOfName(name),
                      .localOffset = Field<std::uint32_t>(rest, ZipCentralHeader::LocalOffset),
                      .compressedSize = Field<std::uint32_t>(rest, ZipCentralHeader::CompressedSize)}};
}

ZipWalk::Step ZipWalk::ReadEnd(KFileSimulator& reader, std::int64_t offset) {
    RecordRest<ZipEndRecord::Bytes> rest{};
    reader.Read(rest.data(), rest.size());
    const std::int64_t comment = Field<std::uint16_t>(rest, ZipEndRecord::CommentLength);
    return {.to = offset + static_cast<std::int64_t>(ZipEndRecord::Bytes) + comment,
            .facts = {.hasEnd = true},
            .isEnd = true};
}

// Only the archive's real start passes: from a member at a sector start inside it, the directory's offsets do not
// match.
bool ZipWalk::LeadsToFirstMember(const Candidate& candidate, const ZipFacts& facts) {
    std::array<std::uint8_t, ZipLocalHeader::CompressedSize + sizeof(std::uint32_t)> header{};
    KFileSimulator reader(&candidate.block, candidate.startSector, 0, &budget_);
    reader.Seek(facts.localOffset);
    return reader.Read(header.data(), header.size()) &&
           LoadLittle<std::uint32_t>(header, 0) == ZipSignature::LocalHeader &&
           LoadLittle<std::uint32_t>(header, ZipLocalHeader::CompressedSize) == facts.compressedSize;
}
