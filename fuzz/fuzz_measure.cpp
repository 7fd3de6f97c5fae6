// Measures files at made-up starts on a made-up medium and checks what is read and what comes out.
//
// An input is a byte that chooses the sector size and the allowance, and the bytes of the medium. make-seeds.py writes
// the same layout.

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <span>
#include <vector>

#include "fuzz/Require.h"
#include "host/validate/decide_sizes.h"
#include "host/validate/measure_raf.h"
#include "host/validate/measure_tiff.h"
#include "host/validate/measure_x3f.h"

namespace {

constexpr std::array<std::int32_t, 3> SectorSizes{512, 1024, 4096};
constexpr std::array<std::int64_t, 4> Allowances{std::int64_t{1} << 24, 5000, 20000, 0};
constexpr std::int64_t LargestMeasure = std::int64_t{1} << 36;
// Dcr, nef, orf, pef, raf, rdc, srf, tif, x3f, dng and arw.
const std::vector<std::int32_t> OpenTypes{FileTypeIndex::Dcr, FileTypeIndex::Nef,  FileTypeIndex::Orf,
                                          FileTypeIndex::Pef, FileTypeIndex::Raf,  FileTypeIndex::Rdc,
                                          FileTypeIndex::Srf, FileTypeIndex::Tiff, FileTypeIndex::X3f,
                                          FileTypeIndex::Dng, FileTypeIndex::Arw};

class InputDevice : public salvor::RawDevice {
public:
    InputDevice(std::span<const std::uint8_t> bytes, std::int64_t& bytesRead) : bytes_(bytes), bytesRead_(bytesRead) {}
    std::int64_t Size() const override { return static_cast<std::int64_t>(bytes_.size()); }
    std::size_t ReadAt(std::int64_t offset, std::uint8_t* buffer, std::size_t length) override {
        Require(offset >= 0 && offset <= Size() && length <= bytes_.size() - static_cast<std::size_t>(offset),
                "only the medium is read");
        bytesRead_ += static_cast<std::int64_t>(length);
        std::copy_n(bytes_.begin() + offset, length, buffer);
        return length;
    }

private:
    std::span<const std::uint8_t> bytes_;
    std::int64_t& bytesRead_;
};

void MeasureEverywhere(salvor::Medium& medium, std::int64_t allowed, const std::int64_t& bytesRead) {
    for (std::int64_t sector = 0; sector < medium.SectorCount(); ++sector) {
        for (const auto measure : {salvor::MeasureTiff, salvor::MeasureRaf, salvor::MeasureX3f}) {
            const std::int64_t before = bytesRead;
            salvor::ReadAllowance allowance(allowed);
            salvor::CandidateReader bytes(medium, sector, std::numeric_limits<std::int64_t>::max(), allowance);
            const auto size = measure(bytes);
            Require(bytesRead - before <= allowed, "the allowance is kept");
            Require(!size || (*size > 0 && *size < LargestMeasure), "a size is a sum of the fields' numbers");
            Require(!size || measure != salvor::MeasureX3f || *size <= bytes.Size(), "a file that is seen whole ends");
        }
    }
}

void DecideEverything(salvor::Medium& medium, std::uint8_t choice) {
    std::vector<salvor::Find> finds;
    for (std::int64_t sector = -1; sector <= medium.SectorCount(); ++sector) {
        const std::size_t place = static_cast<std::size_t>(sector + 1) + choice;
        finds.push_back({OpenTypes[place % OpenTypes.size()], sector, choice % 5 - 2});
    }
    const auto sized = salvor::DecideSizes(medium, finds, {OpenTypes, {}}, [](std::int64_t) { return false; });
    Require(sized.size() == finds.size(), "every find is kept");
    for (std::size_t i = 0; i < finds.size(); ++i) {
        const salvor::SizedFind& one = sized[i];
        const bool onMedium = finds[i].startSector >= 0 && finds[i].startSector < medium.SectorCount();
        Require(one.find.type == finds[i].type && one.find.startSector == finds[i].startSector, "finds stay in order");
        Require(one.source == salvor::SizeSource::Reported ? one.find.size == finds[i].size
                                                           : onMedium && one.find.size > finds[i].size,
                "a size that is decided is larger than the reported one");
        Require(!onMedium || finds[i].size != 0 || one.find.size > 0, "every size is decided");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2) {
        return 0;
    }
    const std::uint8_t choice = data[0];
    std::int64_t bytesRead = 0;
    salvor::Medium medium(std::make_unique<InputDevice>(std::span(data + 1, size - 1), bytesRead),
                          SectorSizes[choice % SectorSizes.size()]);
    MeasureEverywhere(medium, Allowances[choice / 4 % Allowances.size()], bytesRead);
    DecideEverything(medium, choice);
    return 0;
}
