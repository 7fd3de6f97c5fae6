#include "formats/BoxWalk.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "frame/contract/ISectorSource.h"

namespace {

constexpr std::size_t MinSectorBytes = 512;
constexpr std::size_t TypeOffset = 4;
constexpr std::size_t BrandOffset = 8;
constexpr auto FileTypeBoxType = PatternOf("ftyp");
// In the size field: the size is a 64-bit number after the type.
constexpr std::uint64_t SizeIsLong = 1;

std::int64_t LimitOn(ISectorSource& source) {
    SectorGeometry geometry{};
    source.GetGeometry(&geometry);
    const std::uint64_t bytes = geometry.bytesPerSector * static_cast<std::uint64_t>(geometry.sectorCount);
    return std::min(static_cast<std::int64_t>(bytes), BoxWalkCeiling);
}

}  // namespace

// Reads the box headers of one walk. If a read fails, the previous header is used again, so a walk over unreadable
// sectors goes on in equal steps until it is given up.
class BoxWalk::BoxReader {
public:
    explicit BoxReader(const BoxRules& rules) : rules_(rules) {}

    std::optional<Trail<BoxFacts>::Stretch> operator()(KFileSimulator& reader, std::int64_t offset) {
        ReadAt(reader, offset, header_);
        std::uint64_t size = LoadBig<std::uint32_t>(header_, 0);
        const bool isLong = size == SizeIsLong;
        if (isLong) {
            ReadAt(reader, offset + static_cast<std::int64_t>(header_.size()), longSize_);
            size = LoadBig<std::uint64_t>(longSize_, 0);
        }
        std::uint32_t type = 0;
        std::memcpy(&type, header_.data() + TypeOffset, sizeof(type));
        if (size < SmallestBox(isLong) || !rules_.isAccepted(type)) {
            return {{.to = offset, .isEnd = true}};
        }
        const auto room = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max() - offset);
        if (size > room || failedReads_ > MostFailedReads) {
            return {{.to = offset, .facts = {.isBroken = true}, .isEnd = true}};
        }
        return {{.to = offset + static_cast<std::int64_t>(size), .facts = {.hasMainBox = rules_.isMain(type)}}};
    }

    bool HasFailed() const { return failedReads_ > 0; }

private:
    static constexpr int MostFailedReads = 1 << 16;
    using Field = std::array<std::uint8_t, 8>;

    std::uint64_t SmallestBox(bool isLong) const {
        if (!rules_.endsAtShortBox) {
            return 1;
        }
        return isLong ? header_.size() + longSize_.size() : header_.size();
    }

    void ReadAt(KFileSimulator& reader, std::int64_t offset, Field& field) {
        reader.Seek(offset);
        failedReads_ += reader.Read(field.data(), static_cast<std::uint32_t>(field.size())) ? 0 : 1;
    }

    const BoxRules& rules_;
    Field header_{};
    Field longSize_{};
    int failedReads_ = 0;
};

bool IsMainBox(std::uint32_t type) {
    return type == BoxTypeOf("moov") || type == BoxTypeOf("mdat") || type == BoxTypeOf("uuid");
}

std::optional<FileTypeBox> FileTypeBoxOf(ByteSpan sector) {
    if (!HasPatternAt(sector, TypeOffset, FileTypeBoxType) || sector.size() < MinSectorBytes) {
        return std::nullopt;
    }
    return FileTypeBox{LoadBig<std::uint32_t>(sector, 0), sector.data() + BrandOffset};
}

std::optional<BoxWalk::Result> BoxWalk::Measure(const Candidate& candidate, std::uint32_t firstBoxSize,
                                                const BoxRules& rules) {
    if (candidate.block.source == nullptr) {
        return std::nullopt;
    }
    const std::int64_t limit = LimitOn(*candidate.block.source);
    BoxReader boxes(rules);
    const auto way = trail_.Walk(candidate, firstBoxSize, limit, boxes);
    if (boxes.HasFailed()) {
        // Sizes from failed reads must not be remembered.
        trail_.Forget();
    }
    if (!way || way->facts.isBroken || !way->facts.hasMainBox) {
        return std::nullopt;
    }
    return Result{way->to, limit};
}
