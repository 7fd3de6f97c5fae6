// Feeds a made-up medium to the factory's scanners, all or those of one room, twice in a row, and checks every request
// and every report.
//
// An input is a header of HeaderBytes, whose fields `Plan` describes, and the bytes of the medium. make-seeds.py writes
// the same layout.

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <limits>
#include <memory>
#include <string_view>
#include <vector>

#include "containers/KZipFileSearcher.h"
#include "frame/bytes/Bytes.h"
#include "frame/contract/FileTypeCatalog.h"
#include "frame/contract/IRawFileTypeFactory.h"
#include "frame/read/KFileSimulator.h"
#include "fuzz/Require.h"
#include "tests/support/ReportRules.h"

namespace {

constexpr std::size_t HeaderBytes = 16;
// No further block is fed once the scanners have read this many bytes: a single search for a missing end can read 64
// MiB.
constexpr std::int64_t ReadBudget = std::int64_t{32} << 20;

constexpr std::size_t OutsidePeriod = 64;

constexpr std::int64_t Last = std::numeric_limits<std::int64_t>::max();
// A sector of zeros, far from all media.
constexpr std::int64_t InNoMedium = std::numeric_limits<std::int64_t>::min() / 2;

std::int32_t SectorSizeOf(ByteSpan header) {
    constexpr std::array<std::int32_t, 16> common{512,  512,  512, 512, 512, 512, 4096,  4096,
                                                  2048, 1024, 256, 1,   16,  520, 32768, 65536};
    const std::uint8_t choice = header[0];
    return choice < 0xC0 ? common[choice % common.size()] : 1 + LoadLittle<std::uint16_t>(header, 1);
}

std::int64_t FirstSectorOf(std::uint8_t choice) {
    constexpr std::array<std::int64_t, 16> common{
        1, 1, 1, 1, 1, 0, 63, 2048, 0x7FFF, 1 << 30, 0x7FFFFFFF, 0xFFFFFFFF, Last >> 16, Last >> 1, -1, Last - 3};
    return common[choice % common.size()];
}

// What an input asks for.
struct Plan {
    /// Header byte 0 chooses a common size; from 0xC0 on, bytes 1 and 2 are the size less 1.
    std::int32_t sectorSize;
    /// Bytes 3 and 4: sectors a block, 0 for a single block.
    std::int64_t blockSectors;
    /// Byte 5 chooses one of a list.
    std::int64_t firstSector;
    /// Byte 6, its lowest two bits: 2 takes one type, 3 a selection, both by byte 7; others take all.
    std::vector<std::int32_t> indices;
    /// Bytes 9 to 12, if byte 8 is odd; negative for none.
    std::int64_t cap;
    /// Byte 13: bit 0 for a block without a source, bit 1 for a source that fails.
    bool hasSource;
    bool sourceFails;
    /// Bytes 14 and 15 are what the medium's source delivers outside the medium, repeated between zeros. A host
    /// delivers zeros only, but end marks there keep most inputs fast.
    std::array<std::uint8_t, 2> outside;
};

// The folder of a type's scanner in the library.
std::string_view RoomOf(const FileTypeIdentity& type) {
    using enum FileTypeGroup;
    if (type.group == Archive || type.family == FileTypeFamily::Compound || type.family == FileTypeFamily::ZipPackage) {
        return "containers";
    }
    if (type.group == Film || type.group == Sound) {
        return "media";
    }
    return type.group == Document || type.group == MailOrData ? "documents" : "images";
}

// All types under test.
std::vector<std::int32_t> AllIndices() {
    constexpr std::string_view room = SALVOR_FUZZ_ROOM;
    std::vector<std::int32_t> indices;
    for (std::int32_t index = 0; index < FileTypeCount; ++index) {
        if (room.empty() || RoomOf(FileTypeCatalog[index]) == room) {
            indices.push_back(index);
        }
    }
    Require(!indices.empty(), "a target has types");
    return indices;
}

std::vector<std::int32_t> ChooseIndices(std::uint8_t mode, std::uint8_t choice) {
    static const std::vector<std::int32_t> all = AllIndices();
    switch (mode & 3U) {
        case 2:
            return {all[choice % all.size()]};
        case 3: {
            std::vector<std::int32_t> chosen;
            std::ranges::copy_if(all, std::back_inserter(chosen),
                                 [choice](std::int32_t index) { return (choice >> (index % 8) & 1) != 0; });
            return chosen;
        }
        default:
            return all;
    }
}

Plan PlanOf(ByteSpan header) {
    return {.sectorSize = SectorSizeOf(header),
            .blockSectors = LoadLittle<std::uint16_t>(header, 3),
            .firstSector = FirstSectorOf(header[5]),
            .indices = ChooseIndices(header[6], header[7]),
            .cap = (header[8] & 1U) != 0 ? std::int64_t{LoadLittle<std::uint32_t>(header, 9)} : -1,
            .hasSource = (header[13] & 1U) == 0,
            .sourceFails = (header[13] & 2U) != 0,
            .outside = {header[14], header[15]}};
}

// The medium: whole sectors, the last one filled up with zeros.
class Medium : public ISectorSource {
public:
    Medium(const Plan& plan, ByteSpan bytes) : plan_(plan), bytes_(bytes.begin(), bytes.end()) {
        const auto size = static_cast<std::size_t>(plan.sectorSize);
        bytes_.resize((bytes_.size() + size - 1) / size * size);
        for (std::size_t i = 0; i < outside_.size(); i += OutsidePeriod) {
            std::ranges::copy(plan.outside, outside_.begin() + static_cast<std::ptrdiff_t>(i));
        }
    }

    std::int64_t SectorCount() const { return static_cast<std::int64_t>(bytes_.size()) / plan_.sectorSize; }
    std::int64_t BytesRead() const { return bytesRead_; }

    /// A copy of its own, so that the sanitizer sees a read after the block.
    std::vector<std::uint8_t> Sectors(std::int64_t index, std::int64_t count) const {
        const auto from = bytes_.begin() + index * plan_.sectorSize;
        return {from, from + count * plan_.sectorSize};
    }

    std::int32_t ReadSectors(std::int64_t firstSector, std::uint8_t* buffer, std::int32_t count) override {
        Require(buffer != nullptr, "a request has a buffer");
        Require(count >= 1 && count <= KFileSimulator::CacheBytes / plan_.sectorSize, "a request fits the cache");
        if (plan_.sourceFails) {
            return 0;
        }
        const std::size_t wanted = static_cast<std::size_t>(count) * static_cast<std::size_t>(plan_.sectorSize);
        std::copy_n(outside_.begin(), wanted, buffer);
        bytesRead_ += static_cast<std::int64_t>(wanted);
        for (std::int32_t i = 0; i < count; ++i) {
            // Unsigned, as the distance may wrap.
            const std::uint64_t index = static_cast<std::uint64_t>(firstSector) + static_cast<std::uint64_t>(i) -
                                        static_cast<std::uint64_t>(plan_.firstSector);
            if (index < static_cast<std::uint64_t>(SectorCount())) {
                std::copy_n(bytes_.begin() + static_cast<std::int64_t>(index) * plan_.sectorSize, plan_.sectorSize,
                            buffer + static_cast<std::ptrdiff_t>(i) * plan_.sectorSize);
            }
        }
        return 1;
    }

    std::int32_t GetGeometry(SectorGeometry* geometry) override {
        *geometry = {static_cast<std::uint32_t>(plan_.sectorSize), SectorCount()};
        return 1;
    }

private:
    const Plan& plan_;
    std::vector<std::uint8_t> bytes_;
    std::array<std::uint8_t, KFileSimulator::CacheBytes> outside_{};
    std::int64_t bytesRead_ = 0;
};

struct Find {
    std::int32_t index;
    std::int64_t startSector;
    std::int64_t size;
    bool operator==(const Find&) const = default;
};

class CheckingSink : public IFoundFileSink {
public:
    CheckingSink(const Plan& plan, std::int64_t sectorCount) : plan_(plan), sectorCount_(sectorCount) {}

    void SetType(std::int32_t index) { index_ = index; }

    std::int32_t ReportFound(const FoundFile* file) override {
        const std::uint64_t offset =
            static_cast<std::uint64_t>(file->startSector) - static_cast<std::uint64_t>(plan_.firstSector);
        Require(offset < static_cast<std::uint64_t>(sectorCount_), "a find begins in the medium");
        const std::int64_t cap = plan_.cap >= 0 ? plan_.cap : FileTypeCatalog[index_].maxSize;
        Require(test::IsSaneSize(index_, file->size, cap), "a size is one that the type may report");
        finds.push_back({index_, file->startSector, file->size});
        return 1;
    }

    std::vector<Find> finds;

private:
    const Plan& plan_;
    std::int64_t sectorCount_;
    std::int32_t index_ = 0;
};

struct Releaser {
    void operator()(IRawFileType* type) const { type->Release(); }
};

struct Scanner {
    std::int32_t index;
    std::unique_ptr<IRawFileType, Releaser> type;
};

std::vector<Find> ScanMedium(const Plan& plan, const std::vector<Scanner>& scanners, Medium& medium) {
    CheckingSink sink(plan, medium.SectorCount());
    // Archives that wait for an end mark outlive a scan, and their starts belong to another medium.
    SharedEngine<KZipFileSearcher>().EndScan();
    // An engine whose last block had the same first sector would report that block's finds again. An empty block would
    // not help: it leaves an engine as it is.
    const std::vector<std::uint8_t> zeros(static_cast<std::size_t>(plan.sectorSize));
    const SectorBlock nothing{InNoMedium, zeros.data(), 1, plan.sectorSize, nullptr};
    for (const Scanner& scanner : scanners) {
        scanner.type->ScanBlock(&nothing, &sink);
        scanner.type->BeginScan();
        if (plan.cap >= 0) {
            scanner.type->SetMaxFileSize(plan.cap);
        }
    }
    const std::int64_t step =
        plan.blockSectors > 0 ? plan.blockSectors : std::max<std::int64_t>(medium.SectorCount(), 1);
    for (std::int64_t at = 0; at < medium.SectorCount() && medium.BytesRead() < ReadBudget; at += step) {
        const std::int64_t count = std::min(step, medium.SectorCount() - at);
        const std::vector<std::uint8_t> bytes = medium.Sectors(at, count);
        const auto first =
            static_cast<std::int64_t>(static_cast<std::uint64_t>(plan.firstSector) + static_cast<std::uint64_t>(at));
        const SectorBlock block{first, bytes.data(), static_cast<std::int32_t>(count), plan.sectorSize,
                                plan.hasSource ? &medium : nullptr};
        for (const Scanner& scanner : scanners) {
            sink.SetType(scanner.index);
            scanner.type->ScanBlock(&block, &sink);
        }
    }
    for (const Scanner& scanner : scanners) {
        scanner.type->EndScan();
    }
    return sink.finds;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < HeaderBytes) {
        return -1;
    }
    const ByteSpan input(data, size);
    const Plan plan = PlanOf(input.first(HeaderBytes));
    std::vector<Scanner> scanners;
    for (const std::int32_t index : plan.indices) {
        scanners.push_back({index, std::unique_ptr<IRawFileType, Releaser>(GetRawFileTypeFactory()->Create(index))});
    }
    std::array<std::vector<Find>, 2> scans;
    bool complete = true;
    for (std::vector<Find>& finds : scans) {
        Medium medium(plan, input.subspan(HeaderBytes));
        finds = ScanMedium(plan, scanners, medium);
        std::erase_if(finds, [](const Find& find) { return test::KeepsStateOverScans(find.index); });
        complete = complete && medium.BytesRead() < ReadBudget;
    }
    Require(!complete || scans[0] == scans[1], "a second scan finds what the first one found");
    return 0;
}
