#include "host/validate/decide_sizes.h"

#include <FileTypeCatalog.h>
#include <gtest/gtest.h>

#include "tests/host/TestFiles.h"
#include "tests/host/TiffBuilder.h"

namespace salvor {

namespace {

using namespace test;
using enum SizeSource;

constexpr std::int32_t Gif = FileTypeIndex::Gif;
constexpr std::int32_t Jpg = FileTypeIndex::JpegGraphics;
constexpr std::int32_t Png = FileTypeIndex::Png;
constexpr std::int32_t Nef = FileTypeIndex::Nef;
constexpr std::int32_t Rdc = FileTypeIndex::Rdc;
constexpr std::int32_t Srf = FileTypeIndex::Srf;
constexpr std::int32_t Tif = FileTypeIndex::Tiff;
constexpr std::int32_t X3f = FileTypeIndex::X3f;
constexpr std::int32_t Arw = FileTypeIndex::Arw;
constexpr std::int64_t MiB = 1 << 20;
const auto NeverStops = [](std::int64_t) {
    return false;
};

// A sparse medium: files at sector starts, zeros between them.
class SparseDevice : public RawDevice {
public:
    SparseDevice(std::int64_t size, std::map<std::int64_t, Bytes> files) : size_(size), files_(std::move(files)) {}
    std::int64_t Size() const override { return size_; }
    std::size_t ReadAt(std::int64_t offset, std::uint8_t* buffer, std::size_t length) override {
        bytesRead += static_cast<std::int64_t>(length);
        std::fill_n(buffer, length, std::uint8_t{0});
        for (const auto& [sector, file] : files_) {
            const std::int64_t start = sector * 512;
            const std::int64_t from = std::max(start, offset);
            const std::int64_t to =
                std::min(start + static_cast<std::int64_t>(file.size()), offset + static_cast<std::int64_t>(length));
            if (from < to) {
                std::copy(file.begin() + (from - start), file.begin() + (to - start), buffer + (from - offset));
            }
        }
        return length;
    }
    std::int64_t bytesRead = 0;

private:
    std::int64_t size_;
    std::map<std::int64_t, Bytes> files_;
};

// Its strip ends there.
Bytes TiffThatEnds(std::uint32_t end) {
    TiffBuilder tiff(ByteOrder::Big);
    const std::uint32_t first = tiff.Add({{273, test::Long, {100}}, {279, test::Long, {end - 100}}});
    return tiff.Finish(first);
}

TEST(DecideSizes, MeasuresAndBoundsWhatScannersLeaveOpen) {
    std::map<std::int64_t, Bytes> files;
    for (const std::int64_t sector : {10, 20, 30, 40}) {
        files[sector] = TiffThatEnds(5000);
    }
    files[50] = TiffThatEnds(100 << 20);
    files[60] = TiffThatEnds(300 << 20);
    constexpr std::int64_t mediumBytes = 900 * MiB + 100;
    Medium medium(std::make_unique<SparseDevice>(mediumBytes, files), 512);
    const SizeDecision decision{{Gif, Png, Nef, Rdc, Srf, Tif, X3f, Arw}, {{Png, 2000}, {Rdc, 1200}}};
    constexpr std::int64_t nearEnd = 900 * MiB / 512 - 1;
    const std::vector<SizedFind> expected{
        {{Nef, 10, 5000}, Measured, false},
        {{Tif, 20, 5000}, Measured, false},
        {{Tif, 30, 6000}, Reported, false},
        {{Tif, 40, 5000}, Measured, false},
        // One file for two types, with the larger of their caps.
        {{Srf, 50, 100 * MiB}, Measured, false},
        {{Arw, 50, 100 * MiB}, Measured, false},
        {{Tif, 60, 200 * MiB}, Measured, true},
        {{Png, 70, 2000}, Reported, true},
        {{Rdc, 70, 1200}, Bounded, true},
        {{Rdc, 71, 1024}, Bounded, false},
        {{Rdc, 72, 512}, Bounded, false},
        {{Png, 73, 800}, Reported, false},
        {{Tif, 80, 8 * 512}, Bounded, false},
        // Of a type that nobody asked for.
        {{Jpg, 88, 700}, Reported, false},
        {{Gif, 100, 300}, Reported, false},
        {{Gif, 101, 16 * MiB}, Bounded, false},
        {{Nef, 102, 200 * MiB}, Bounded, false},
        {{X3f, nearEnd, 612}, Bounded, false},
        // No types to decide about, or not on the medium.
        {{Png, 90, 0}, Reported, false},
        {{Jpg, 90, 0}, Reported, false},
        {{Nef, -1, 0}, Reported, false},
        {{Nef, nearEnd + 2, 0}, Reported, false},
    };
    std::vector<Find> finds;
    for (const SizedFind& one : expected) {
        const bool isTif = one.find.type == Tif;
        const std::int64_t open = isTif && one.find.startSector == 20 ? 4999 : isTif ? -5 : 0;
        finds.push_back({one.find.type, one.find.startSector, one.source == Reported ? one.find.size : open});
    }
    const std::vector<SizedFind> sized = DecideSizes(medium, finds, decision, NeverStops);
    ASSERT_EQ(sized.size(), expected.size());
    for (std::size_t i = 0; i < sized.size(); ++i) {
        EXPECT_EQ(sized[i].find, expected[i].find) << i;
        EXPECT_STREQ(SizeSourceName(sized[i].source), SizeSourceName(expected[i].source)) << i;
        EXPECT_EQ(sized[i].atCap, expected[i].atCap) << i;
    }
}

TEST(DecideSizes, ReadsAFewTimesTheMediumWhateverIsMadeUp) {
    // Every sector holds a directory that links to the next one and begins a file.
    constexpr std::int64_t sectors = 4096;
    Bytes image;
    std::vector<Find> finds;
    for (std::uint32_t sector = 0; sector < sectors; ++sector) {
        TiffBuilder tiff(ByteOrder::Little);
        Bytes start = tiff.Finish(tiff.Add({{256, test::Long, {1}}}, sector * 512 + 520));
        start.resize(512);
        image.insert(image.end(), start.begin(), start.end());
        finds.push_back({Tif, sector, 0});
        finds.push_back({X3f, sector, 0});
    }
    auto device = std::make_unique<SparseDevice>(sectors * 512, std::map<std::int64_t, Bytes>{{0, image}});
    const SparseDevice& counts = *device;
    Medium medium(std::move(device), 512);
    DecideSizes(medium, finds, {{Tif, X3f}, {}}, NeverStops);
    EXPECT_LE(counts.bytesRead, 16 * MiB + 8 * sectors * 512);
}

}  // namespace

}  // namespace salvor
