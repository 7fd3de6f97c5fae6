#include "host/scan/scan_session.h"

#include <gtest/gtest.h>

#include "host/scan/scanners.h"
#include "tests/host/TestFiles.h"

namespace salvor {

namespace {

using namespace test;
using FileTypeIndex::Png;

const Bytes PngStart{0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
const Bytes PngEnd{'I', 'E', 'N', 'D', 0xAE, 0x42, 0x60, 0x82};

// A medium of zeros with PNGs of 3,000 bytes at these sectors.
Bytes ImageWithPngs(std::int64_t sectors, const std::vector<std::int64_t>& starts) {
    Bytes image(static_cast<std::size_t>(sectors * 512), 0);
    for (const std::int64_t start : starts) {
        std::copy(PngStart.begin(), PngStart.end(), image.begin() + start * 512);
        std::copy(PngEnd.begin(), PngEnd.end(), image.begin() + start * 512 + 3000 - 8);
    }
    return image;
}

class Recorder : public ScanObserver {
public:
    void OnFind(const Find& find) override { finds.push_back(find); }
    void OnBlockDone(std::int64_t nextSector) override { marks.push_back(nextSector); }
    bool StopRequested() override { return marks.size() >= stopAfterBlocks; }

    std::vector<Find> finds;
    std::vector<std::int64_t> marks;
    std::size_t stopAfterBlocks = 1000000;
};

TEST(ScanRange, FindsTheMediumsFirstSectorAndFollowsFilesBeyondABlock) {
    Medium medium(std::make_unique<FakeDevice>(ImageWithPngs(100, {0, 50, 94})), 512);
    for (const std::int64_t blockSectors : {1, 3, 64, 100, 2048}) {
        Recorder recorder;
        EXPECT_TRUE(ScanRange(medium, {{0, 100}, blockSectors, AllTypes(), {}}, recorder));
        EXPECT_EQ(recorder.finds, (std::vector<Find>{{Png, 0, 3000}, {Png, 50, 3000}, {Png, 94, 3000}}));
        EXPECT_EQ(recorder.marks.back(), 100);
    }
}

TEST(ScanRange, KeepsToItsRangeTypesAndCapsAndStopsWhenAsked) {
    Medium medium(std::make_unique<FakeDevice>(ImageWithPngs(100, {0, 50, 90})), 512);
    Recorder range;
    EXPECT_TRUE(ScanRange(medium, {{40, 20}, 8, {Png}, {{Png, 1000}}}, range));
    EXPECT_EQ(range.finds, (std::vector<Find>{{Png, 50, 1000}}));
    EXPECT_EQ(range.marks, (std::vector<std::int64_t>{48, 56, 60}));

    Recorder otherType;
    EXPECT_TRUE(ScanRange(medium, {{0, 100}, 8, {FileTypeIndex::Doc, FileTypeIndex::JpegGraphics}, {}}, otherType))
        << "no type that claims them";
    EXPECT_TRUE(otherType.finds.empty());

    Recorder stopped;
    stopped.stopAfterBlocks = 2;
    EXPECT_FALSE(ScanRange(medium, {{0, 100}, 8, {Png}, {}}, stopped));
    EXPECT_EQ(stopped.finds, (std::vector<Find>{{Png, 0, 3000}}));
    EXPECT_EQ(stopped.marks, (std::vector<std::int64_t>{8, 16}));

    Recorder nothing;
    EXPECT_TRUE(ScanRange(medium, {{50, 0}, 8, {Png}, {}}, nothing));
    EXPECT_TRUE(nothing.marks.empty());
}

TEST(TypesNamed, TakesExtensionsInAnyCaseAndIndices) {
    EXPECT_EQ(TypesNamed("JPG"), (std::vector<std::int32_t>{FileTypeIndex::JpegCamera, FileTypeIndex::JpegGraphics}));
    EXPECT_EQ(TypesNamed(".png"), (std::vector<std::int32_t>{Png}));
    EXPECT_EQ(TypesNamed("46"), (std::vector<std::int32_t>{Png}));
    EXPECT_EQ(TypesNamed("7z"), (std::vector<std::int32_t>{68}));
    for (const char* word : {"", ".", "113", "-1", "jp", "46x", "99999999999999999999"}) {
        EXPECT_TRUE(TypesNamed(word).empty()) << word;
    }
}

}  // namespace

}  // namespace salvor
