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

// The rest of a record's fixed part, behind the signature.
template <std::size_t N>
using RecordRest = std::array<std::uint8_t, N - SignatureBytes>;

template <std::unsigned_integral T>
T Field(ByteSpan rest, std::size_t offsetInRecord) {
    return LoadLittle<T>(rest, offsetInRecord - SignatureBytes);
}

constexpr std::size_t LocalHeaderBytes = 30;
constexpr std::size_t LocalCompressedSize = 18;

// The header with the name, the extra field and the data behind it.
std::int64_t LocalRecordBytes(ByteSpan rest) {
    return static_cast<std::int64_t>(LocalHeaderBytes) + Field<std::uint32_t>(rest, LocalCompressedSize) +
           Field<std::uint16_t>(rest, 26) + Field<std::uint16_t>(rest, 28);
}

}  // namespace

void ZipWalk::Facts::Append(const Facts& behind) {
    if (!hasCentralHeader && behind.hasCentralHeader) {
        hasCentralHeader = true;
        localOffset = behind.localOffset;
        compressedSize = behind.compressedSize;
    }
    if (kind == ZipKind::Plain) {
        kind = behind.kind;
    }
}

void ZipWalk::Reset() {
    shortcuts_.Clear();
    row_.Reset();
    budget_.Reset();
}

void ZipWalk::EnterBlock(const SectorBlock& block) {
    walker_.reset();
    checker_.reset();
    budget_.EnterBlock(block);
    if (!row_.Enter(block)) {
        shortcuts_.Clear();
    }
}

std::optional<ZipWalk::Archive> ZipWalk::Measure(const Candidate& candidate, std::uint64_t lengthHint) {
    if (!KFileSimulator::Serves(candidate.block)) {
        return std::nullopt;
    }
    if (!walker_) {
        walker_.emplace(&candidate.block, row_.OriginSector(), lengthHint, &budget_);
        checker_.emplace(&candidate.block, row_.OriginSector(), lengthHint, &budget_);
    }
    budget_.BeginWalk();
    const std::int64_t start = row_.PlaceOf(candidate.startSector);
    std::int64_t position = start + LocalRecordBytes(candidate.sector.subspan(SignatureBytes));
    // The candidate's own record is a local header, which adds no fact.
    shortcuts_.BeginWalkBehind(start, position);
    std::optional<Archive> archive;
    Facts facts;
    while (position - start <= LengthLimit && !budget_.IsExhausted()) {
        const Shortcuts::Shortcut* const shortcut = shortcuts_.Find(position);
        const std::optional<Step> step = shortcut != nullptr ? Step{*shortcut, false} : ReadRecord(*walker_, position);
        if (!step ||
            (!facts.hasCentralHeader && step->facts.hasCentralHeader && !LeadsToFirstMember(step->facts, start))) {
            break;
        }
        facts.Append(step->facts);
        if (step->endsArchive) {
            archive = {step->to - start, facts.kind};
            break;
        }
        shortcuts_.Pass(position, *step, shortcut != nullptr);
        position = step->to;
    }
    shortcuts_.EndWalk(start, position);
    return archive;
}

std::optional<ZipWalk::Step> ZipWalk::ReadRecord(KFileSimulator& reader, std::int64_t position) {
    std::array<std::uint8_t, SignatureBytes> signature{};
    reader.Seek(position);
    if (!reader.Read(signature.data(), signature.size())) {
        return std::nullopt;
    }
    switch (LoadLittle<std::uint32_t>(signature, 0)) {
        case ZipSignature::LocalHeader:
            return ReadLocalHeader(reader, position);
        case ZipSignature::CentralHeader:
            return ReadCentralHeader(reader, position);
        case ZipSignature::EndOfDirectory:
            return ReadEnd(reader, position);
        case ZipSignature::DataDescriptor:
            return Step{{position + DataDescriptorBytes, {}}, false};
        default:
            return std::nullopt;
    }
}

std::optional<ZipWalk::Step> ZipWalk::ReadLocalHeader(KFileSimulator& reader, std::int64_t position) {
    RecordRest<LocalHeaderBytes> rest{};
    if (!reader.Read(rest.data(), rest.size())) {
        return std::nullopt;
    }
    return Step{{position + LocalRecordBytes(rest), {}}, false};
}

std::optional<ZipWalk::Step> ZipWalk::ReadCentralHeader(KFileSimulator& reader, std::int64_t position) {
    constexpr std::size_t recordBytes = 46;
    RecordRest<recordBytes> rest{};
    if (!reader.Read(rest.data(), rest.size())) {
        return std::nullopt;
    }
    const auto nameLength = Field<std::uint16_t>(rest, 28);
    std::array<std::uint8_t, LongestFolder> name{};
    if (nameLength > LongestName || !reader.Read(name.data(), std::min<std::uint32_t>(nameLength, LongestFolder))) {
        return std::nullopt;
    }
    const std::int64_t behind =
        std::int64_t{nameLength} + Field<std::uint16_t>(rest, 30) + Field<std::uint16_t>(rest, 32);
    const Facts facts{.hasCentralHeader = true,
                      .kind = KindOfName(name),
                      .localOffset = Field<std::uint32_t>(rest, 42),
                      .compressedSize = Field<std::uint32_t>(rest, 20)};
    return Step{{position + static_cast<std::int64_t>(recordBytes) + behind, facts}, false};
}

std::optional<ZipWalk::Step> ZipWalk::ReadEnd(KFileSimulator& reader, std::int64_t position) {
    RecordRest<ZipEndRecord::Bytes> rest{};
    if (!reader.Read(rest.data(), rest.size())) {
        return std::nullopt;
    }
    const std::int64_t comment = Field<std::uint16_t>(rest, 20);
    return Step{{position + static_cast<std::int64_t>(ZipEndRecord::Bytes) + comment, {}}, true};
}

// This ties the archive to its real start: a member at a sector start inside it leads to the same directory, whose
// offsets then miss.
bool ZipWalk::LeadsToFirstMember(const Facts& facts, std::int64_t start) {
    std::array<std::uint8_t, LocalCompressedSize + sizeof(std::uint32_t)> header{};
    checker_->Seek(start + facts.localOffset);
    return checker_->Read(header.data(), header.size()) &&
           LoadLittle<std::uint32_t>(header, 0) == ZipSignature::LocalHeader &&
           LoadLittle<std::uint32_t>(header, LocalCompressedSize) == facts.compressedSize;
}
