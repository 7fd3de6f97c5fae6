#include "containers/ZipWalk.h"

#include <algorithm>
#include <array>

#include "frame/Bytes.h"
#include "frame/CompareBytesNoCase.h"

namespace {

constexpr std::int64_t LengthLimit = 0x20000000;
constexpr std::size_t SignatureBytes = 4;
constexpr std::int64_t DataDescriptorBytes = 16;
constexpr std::uint16_t LongestName = 260;

// A walk leaves a landmark whenever it has spent this much since the last one, where a record costs 1 and a jump out of
// the reader's cache, which fills it again, costs JumpCost.
constexpr int LandmarkCost = 128;
constexpr int JumpCost = 32;
// What the walks of a block may read together, and what each may read in any case, in bytes.
constexpr std::int64_t SharedWorkPerBlock = std::int64_t{1} << 30;
constexpr std::int64_t WorkPerCandidate = std::int64_t{1} << 20;
constexpr std::size_t MostShortcuts = std::size_t{1} << 19;

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
    shortcuts_ = {};
    row_.Reset();
}

void ZipWalk::EnterBlock(const SectorBlock& block) {
    walker_.reset();
    checker_.reset();
    if (!row_.Enter(block)) {
        shortcuts_.clear();
    }
}

std::optional<ZipWalk::Archive> ZipWalk::Measure(const Candidate& candidate, std::uint64_t lengthHint) {
    if (!KFileSimulator::Serves(candidate.block)) {
        return std::nullopt;
    }
    if (!walker_) {
        meter_ = WorkMeter(SharedWorkPerBlock);
        meteredSource_.emplace(candidate.block.source, candidate.block.sectorSize, meter_);
        block_ = candidate.block;
        block_.source = &*meteredSource_;
        walker_.emplace(&block_, row_.OriginSector(), lengthHint);
        checker_.emplace(&block_, row_.OriginSector(), lengthHint);
    }
    const std::int64_t workLimit = std::max(SharedWorkPerBlock, meter_.Used() + WorkPerCandidate);
    const std::int64_t start = row_.PlaceOf(candidate.startSector);
    std::int64_t position = start + LocalRecordBytes(candidate.sector.subspan(SignatureBytes));
    MoveShortcut(start, position);
    std::optional<Archive> archive;
    Facts facts;
    landmarks_.clear();
    int cost = LandmarkCost;
    while (position - start <= LengthLimit && meter_.Used() < workLimit) {
        const auto shortcut = shortcuts_.find(position);
        const bool isKnown = shortcut != shortcuts_.end();
        const std::optional<Step> step = isKnown ? shortcut->second : ReadRecord(*walker_, position);
        if (!step ||
            (!facts.hasCentralHeader && step->facts.hasCentralHeader && !LeadsToFirstMember(step->facts, start))) {
            break;
        }
        facts.Append(step->facts);
        if (step->endsArchive) {
            archive = {step->to - start, facts.kind};
            break;
        }
        if (isKnown || cost >= LandmarkCost) {
            landmarks_.push_back({position, {}});
            cost = 0;
        }
        landmarks_.back().factsBehind.Append(step->facts);
        cost += step->to - position > KFileSimulator::CacheBytes ? JumpCost : 1;
        position = step->to;
    }
    // A short walk is as soon done again.
    if (landmarks_.size() > 1) {
        Remember(position, start);
    }
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
            return Step{position + DataDescriptorBytes, {}, false};
        default:
            return std::nullopt;
    }
}

std::optional<ZipWalk::Step> ZipWalk::ReadLocalHeader(KFileSimulator& reader, std::int64_t position) {
    RecordRest<LocalHeaderBytes> rest{};
    if (!reader.Read(rest.data(), rest.size())) {
        return std::nullopt;
    }
    return Step{position + LocalRecordBytes(rest), {}, false};
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
    return Step{position + static_cast<std::int64_t>(recordBytes) + behind, facts, false};
}

std::optional<ZipWalk::Step> ZipWalk::ReadEnd(KFileSimulator& reader, std::int64_t position) {
    RecordRest<ZipEndRecordBytes> rest{};
    if (!reader.Read(rest.data(), rest.size())) {
        return std::nullopt;
    }
    const std::int64_t comment = Field<std::uint16_t>(rest, 20);
    return Step{position + static_cast<std::int64_t>(ZipEndRecordBytes) + comment, {}, true};
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

// A candidate's own record is read only once, and the next candidate of the same row of records may begin behind it.
// The record is a local header, which adds no fact.
void ZipWalk::MoveShortcut(std::int64_t from, std::int64_t to) {
    auto shortcut = shortcuts_.extract(from);
    if (!shortcut.empty() && shortcut.mapped().to > to) {
        shortcut.key() = to;
        shortcuts_.insert(std::move(shortcut));
    }
}

// Lets every landmark lead to where the walk ended.
void ZipWalk::Remember(std::int64_t end, std::int64_t start) {
    if (shortcuts_.size() + landmarks_.size() > MostShortcuts) {
        // No walk to come begins in front of this one.
        std::erase_if(shortcuts_, [start](const auto& shortcut) { return shortcut.first < start; });
        if (shortcuts_.size() + landmarks_.size() > MostShortcuts) {
            shortcuts_.clear();
        }
    }
    Facts facts;
    while (!landmarks_.empty()) {
        Landmark landmark = landmarks_.back();
        landmarks_.pop_back();
        landmark.factsBehind.Append(facts);
        facts = landmark.factsBehind;
        shortcuts_.insert_or_assign(landmark.position, Step{end, facts, false});
    }
}
