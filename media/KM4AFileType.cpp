#include "media/KM4AFileType.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <optional>

#include "formats/BoxWalk.h"
#include "frame/read/KFileSimulator.h"
#include "media/TagLists.h"

namespace {

// Looks at the boxes of one file. If a read fails, the bytes of the previous read are used again.
class BoxProbe {
public:
    struct Result {
        std::int64_t end;
        bool hasFourBoxes;
    };

    explicit BoxProbe(const Candidate& candidate)
        : reader_(&candidate.block, candidate.startSector, static_cast<std::uint64_t>(BoxWalkCeiling)) {}

    /// Nothing if an audio file cannot have this second box.
    std::optional<Result> Measure(std::uint32_t firstBoxSize) {
        std::int64_t position = firstBoxSize;
        ReadBox(position);
        if (!IsOfAudio()) {
            return std::nullopt;
        }
        position += size_;
        ReadBox(position);
        if (!IsOfAudio()) {
            return Result{position, false};
        }
        position += ThirdStep(position);
        ReadBox(position);
        return IsOfAudio() ? Result{position + size_, true} : Result{position, false};
    }

private:
    using Field = std::array<std::uint8_t, 8>;

    void ReadAt(std::int64_t position, Field& field) {
        reader_.Seek(position);
        reader_.Read(field.data(), static_cast<std::uint32_t>(field.size()));
    }

    void ReadBox(std::int64_t position) {
        ReadAt(position, header_);
        size_ = LoadBig<std::uint32_t>(header_, 0);
        std::memcpy(&type_, header_.data() + sizeof(size_), sizeof(type_));
    }

    bool IsOfAudio() const {
        return type_ == BoxTypeOf("moov") || type_ == BoxTypeOf("free") || type_ == BoxTypeOf("mdat") ||
               type_ == BoxTypeOf("moof");
    }

    // A size below 8 says that a 64-bit one follows, of which only the lower half is used.
    std::uint32_t ThirdStep(std::int64_t position) {
        if (type_ != BoxTypeOf("mdat") || size_ >= header_.size()) {
            return size_;
        }
        ReadAt(position + static_cast<std::int64_t>(header_.size()), longSize_);
        return LoadBig<std::uint32_t>(longSize_, 4);
    }

    KFileSimulator reader_;
    Field header_{};
    Field longSize_{};
    std::uint32_t size_ = 0;
    std::uint32_t type_ = 0;
};

}  // namespace

void KM4AFileType::ScanBlock(const SectorBlock* block, IFoundFileSink* sink) {
    if (block->source == nullptr) {
        return;
    }
    // A file whose end is not found is reported with the previous file's size.
    FoundFile found{0, 0};
    ForEachSector(*block, FileTypeBoxFilter, [&](const Candidate& candidate) {
        const std::optional<FileTypeBox> box = FileTypeBoxOf(candidate.sector);
        if (box && std::memcmp(box->majorBrand, "M4A ", 4) == 0 && Measure(candidate, box->size, found)) {
            sink->ReportFound(&found);
        }
    });
}

// A function of its own: with a reader among its variables, the lambda above would be called for every sector instead
// of being inlined.
bool KM4AFileType::Measure(const Candidate& candidate, std::uint32_t firstBoxSize, FoundFile& found) const {
    constexpr std::int64_t smallestCounted = 512;
    const std::optional<BoxProbe::Result> file = BoxProbe(candidate).Measure(firstBoxSize);
    if (!file) {
        return false;
    }
    found.startSector = candidate.startSector;
    if (file->hasFourBoxes) {
        found.size = file->end;
    } else if (file->end >= smallestCounted) {
        found.size = std::min(file->end, maxSize_);
    }
    return true;
}
