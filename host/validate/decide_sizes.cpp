#include "host/validate/decide_sizes.h"

#include <FileTypeCatalog.h>

#include <algorithm>
#include <limits>
#include <optional>
#include <tuple>

#include "host/validate/measure_raf.h"
#include "host/validate/measure_tiff.h"
#include "host/validate/measure_x3f.h"

namespace salvor {

namespace {

constexpr std::int64_t NoLimit = std::numeric_limits<std::int64_t>::max();

enum class Structure { None, Tiff, Raf, X3f };

// What files of a type hold that tells their size.
Structure StructureOf(std::int32_t type) {
    switch (type) {
        case FileTypeIndex::Dcr:
        case FileTypeIndex::Nef:
        case FileTypeIndex::Orf:
        case FileTypeIndex::Pef:
        case FileTypeIndex::Srf:
        case FileTypeIndex::Tiff:
        case FileTypeIndex::Dng:
        case FileTypeIndex::Arw:
            return Structure::Tiff;
        case FileTypeIndex::Raf:
            return Structure::Raf;
        case FileTypeIndex::X3f:
            return Structure::X3f;
        default:
            return Structure::None;
    }
}

// True if the reported size may not be the last word. A size of 0 stays for types without a range of plausible sizes:
// nothing would bound it, and with some of them it means an empty file.
bool IsOpen(const Find& find) {
    return StructureOf(find.type) != Structure::None || (find.size == 0 && FileTypeCatalog[find.type].largestSize > 0);
}

// Finds with one start and one structure. Types that share an engine report a file each, which has one size.
struct OpenFile {
    std::vector<std::size_t> finds;
    // The largest of the finds' types.
    std::int64_t cap = 0;
    std::int64_t largestSize = 0;
};

// The start sector, the structure, and the type if it has none.
using OpenKey = std::tuple<std::int64_t, Structure, std::int32_t>;
using OpenFiles = std::map<OpenKey, OpenFile>;

class SizeDecider {
public:
    SizeDecider(Medium& medium, const SizeDecision& decision)
        : medium_(medium), decision_(decision), allowance_(AllowanceFor(medium.SizeInBytes())) {}

    void Decide(const std::vector<Find>& finds, const std::function<bool(std::int64_t)>& progress) {
        Collect(finds);
        for (auto file = open_.begin(); file != open_.end(); ++file) {
            if (progress(StartByteOf(file->first))) {
                return;
            }
            MeasureFile(file);
        }
        BoundTheRest();
    }

    std::vector<SizedFind> TakeSized() { return std::move(sized_); }

private:
    // Different files do not share their bytes: all of them together take a few times the medium's size at most, with
    // what is read around small structures. Made-up structures that share theirs would take without end.
    static std::int64_t AllowanceFor(std::int64_t mediumBytes) {
        constexpr std::int64_t least = std::int64_t{16} << 20;
        return least + std::min(mediumBytes, NoLimit / 8) * 8;
    }

    std::int64_t StartByteOf(const OpenKey& key) const { return std::get<std::int64_t>(key) * medium_.SectorSize(); }

    std::int64_t CapOf(std::int32_t type) const {
        const auto own = decision_.caps.find(type);
        const std::int64_t cap = own != decision_.caps.end() ? own->second : FileTypeCatalog[type].maxSize;
        return cap > 0 ? cap : NoLimit;
    }

    bool IsOnMedium(const Find& find) const {
        return find.startSector >= 0 && find.startSector < medium_.SectorCount();
    }

    bool IsToDecide(const Find& find) const {
        return std::ranges::binary_search(decision_.types, find.type) && IsOnMedium(find) && IsOpen(find);
    }

    void Collect(const std::vector<Find>& finds) {
        for (const Find& find : finds) {
            const std::int64_t cap = CapOf(find.type);
            sized_.push_back({find, SizeSource::Reported, find.size == cap});
            if (IsToDecide(find)) {
                const Structure structure = StructureOf(find.type);
                const std::int32_t type = structure == Structure::None ? find.type : 0;
                OpenFile& file = open_[{find.startSector, structure, type}];
                file.finds.push_back(sized_.size() - 1);
                file.cap = std::max(file.cap, cap);
                file.largestSize = std::max(file.largestSize, FileTypeCatalog[find.type].largestSize);
            }
        }
    }

    // Nothing if the file does not say where it ends.
    std::optional<std::int64_t> Measure(OpenFiles::const_iterator file) {
        const auto& [start, structure, type] = file->first;
        switch (structure) {
            case Structure::Tiff: {
                CandidateReader bytes(medium_, start, NoLimit, allowance_);
                return MeasureTiff(bytes);
            }
            case Structure::Raf: {
                CandidateReader bytes(medium_, start, NoLimit, allowance_);
                return MeasureRaf(bytes);
            }
            case Structure::X3f: {
                CandidateReader bytes(medium_, start, X3fSearchBytes(file), allowance_);
                return MeasureX3f(bytes);
            }
            case Structure::None:
                break;
        }
        return std::nullopt;
    }

    // Not beyond the start of the next, so that many starts without an end are no work but once.
    std::int64_t X3fSearchBytes(OpenFiles::const_iterator file) const {
        const auto next = std::find_if(std::next(file), open_.end(), [](const auto& other) {
            return std::get<Structure>(other.first) == Structure::X3f;
        });
        const std::int64_t end = next != open_.end() ? StartByteOf(next->first) : medium_.SizeInBytes();
        return std::min(end - StartByteOf(file->first), file->second.largestSize);
    }

    void MeasureFile(OpenFiles::const_iterator file) {
        const auto measured = Measure(file);
        if (!measured || allowance_.IsUsedUp()) {
            return;
        }
        for (const std::size_t index : file->second.finds) {
            if (*measured > sized_[index].find.size) {
                SetSize(sized_[index], *measured, SizeSource::Measured, file->second.cap);
            }
        }
    }

    void BoundTheRest() {
        std::vector<std::int64_t> knownStarts;
        for (const SizedFind& one : sized_) {
            if (one.find.size > 0 && IsOnMedium(one.find)) {
                knownStarts.push_back(one.find.startSector);
            }
        }
        std::ranges::sort(knownStarts);
        for (const auto& [key, file] : open_) {
            const auto next = std::ranges::upper_bound(knownStarts, std::get<std::int64_t>(key));
            const std::int64_t end = next != knownStarts.end() ? *next * medium_.SectorSize() : medium_.SizeInBytes();
            for (const std::size_t index : file.finds) {
                if (sized_[index].find.size <= 0) {
                    SetSize(sized_[index], std::min(end - StartByteOf(key), file.largestSize), SizeSource::Bounded,
                            file.cap);
                }
            }
        }
    }

    static void SetSize(SizedFind& one, std::int64_t size, SizeSource source, std::int64_t cap) {
        one.find.size = std::min(size, cap);
        one.source = source;
        one.atCap = source == SizeSource::Bounded ? size > cap : size >= cap;
    }

    Medium& medium_;
    const SizeDecision& decision_;
    ReadAllowance allowance_;
    std::vector<SizedFind> sized_;
    OpenFiles open_;
};

}  // namespace

std::vector<SizedFind> DecideSizes(Medium& medium, const std::vector<Find>& finds, const SizeDecision& decision,
                                   const std::function<bool(std::int64_t)>& progress) {
    SizeDecider decider(medium, decision);
    decider.Decide(finds, progress);
    return decider.TakeSized();
}

}  // namespace salvor
