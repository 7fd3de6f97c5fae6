#include "host/scan/scan_session.h"

#include <gtest/gtest.h>

#include "host/scan/scanners.h"
#include "tests/host/TestFiles.h"
#include "tests/support/MergeScans.h"

namespace salvor {

namespace {

using namespace test;
using FileTypeIndex::Png;
using ::test::MergedScan;
using ::test::MergeScans;

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
    void OnStart(std::int64_t sector) override { starts.push_back(sector); }
    void OnZeros(SectorRange sectors) override { zeros.push_back(sectors); }
    bool IsSlow() override { return isSlow; }

    std::vector<Find> finds;
    std::vector<std::int64_t> starts;
    std::vector<SectorRange> zeros;
    std::vector<std::int64_t> marks;
    std::size_t stopAfterBlocks = 1000000;
    bool isSlow = false;
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

// All types but those that remember something for as long as the process lives.
std::vector<std::int32_t> TypesToScanAgain() {
    std::vector<std::int32_t> types = AllTypes();
    std::erase_if(types, [](std::int32_t type) {
        const FileTypeFamily family = FileTypeCatalog[type].family;
        return family != FileTypeFamily::Alone && family != FileTypeFamily::Compound && family != FileTypeFamily::Asf;
    });
    return types;
}

std::vector<Find> FindsOfSegments(Medium& medium, const ScanRequest& request, const std::vector<std::int64_t>& cuts,
                                  std::int64_t mostBehind, Recorder& recorder) {
    const ScanGrid grid = GridOf(request);
    std::vector<TypeScan> scans;
    const auto scan = [&](const ScanRequest& asked, const ScanPart& part, ScanObserver& observer) {
        const auto done = ScanApart(medium, asked, part, observer);
        scans.insert(scans.end(), done->scans.begin(), done->scans.end());
    };
    for (std::size_t i = 0; i + 1 < cuts.size(); ++i) {
        ScanPart part = SegmentOf(grid, {cuts[i], cuts[i + 1]}, mostBehind);
        part.mostRestless = 1;
        scan(request, part, recorder);
    }
    MergedScan merged = MergeScans(grid, scans);
    for (int round = 0; round < 9 && !merged.missing.empty(); ++round) {
        for (const MissingScan& missing : merged.missing) {
            ScanRequest alone = request;
            alone.types = {missing.type};
            Recorder unused;
            scan(alone, PartFor(grid, missing), unused);
        }
        merged = MergeScans(grid, scans);
    }
    EXPECT_TRUE(merged.missing.empty());
    return merged.finds;
}

TEST(ScanApart, SegmentsGiveTheFindsStartsAndZerosOfOneScanInItsOrder) {
    Medium medium(std::make_unique<FakeDevice>(ReadFile(SALVOR_SAMPLES_DIR "/card.img")), 512);
    ScanRequest request{{3, medium.SectorCount() - 3}, 100, TypesToScanAgain(), {{Png, 5000}}, true};
    Recorder one;
    EXPECT_TRUE(ScanRange(medium, request, one));
    EXPECT_GT(one.finds.size(), 40U);
    // Whole blocks, and pieces of blocks that hold files too.
    EXPECT_EQ(std::ranges::max(one.zeros, {}, &SectorRange::count).count, request.blockSectors);
    EXPECT_EQ(std::ranges::min(one.zeros, {}, &SectorRange::count).count, 4);
    const std::int64_t blocks = GridOf(request).BlockCount();
    for (const std::int64_t mostBehind : {std::int64_t{0}, std::int64_t{2}, blocks}) {
        for (const std::vector<std::int64_t>& cuts :
             {std::vector{0 * blocks, blocks / 2, blocks}, {0, 1, 5, 9, 13, 17, 20, 24, 28, 33, blocks}}) {
            Recorder apart;
            // Types that never come to rest are then given up, and scanned once more.
            apart.isSlow = mostBehind == blocks;
            EXPECT_EQ(FindsOfSegments(medium, request, cuts, mostBehind, apart), one.finds);
            EXPECT_EQ(apart.starts, one.starts);
            EXPECT_EQ(apart.zeros, one.zeros);
        }
    }
    Recorder stopped;
    stopped.stopAfterBlocks = 1;
    EXPECT_FALSE(ScanApart(medium, request, SegmentOf(GridOf(request), {0, 2}, 0), stopped));
}

TEST(MergeScans, NamesWhatIsMissing) {
    const ScanGrid grid{{0, 100}, 10, {Png}};
    const auto find = [](std::int64_t sector) {
        return PlacedFind{{Png, sector, 1}, sector};
    };
    const TypeScan first{.type = Png, .blocks = {0, 4}, .restless = {{2, 5}}, .finds = {find(5)}};
    const TypeScan second{.type = Png, .blocks = {3, 10}, .restless = {{5, 6}}, .finds = {find(35), find(70)}};
    EXPECT_EQ(MergeScans(grid, {}).missing, (std::vector<MissingScan>{{Png, 0, 1, {}}}));
    EXPECT_EQ(MergeScans(grid, std::vector{second}).missing,
              (std::vector<MissingScan>{{Png, 0, 1, {{3, 5}, {6, 11}}}}));
    // The first scan was last at rest at border 1, and the second begins after that.
    std::vector scans{second, first};
    EXPECT_EQ(MergeScans(grid, scans).missing, (std::vector<MissingScan>{{Png, 1, 2, {{6, 11}}}}));
    scans.push_back({.type = Png, .blocks = {1, 7}, .restless = {{2, 7}}, .finds = {find(12), find(66)}});
    EXPECT_EQ(MergeScans(grid, scans).finds,
              (std::vector<Find>{{Png, 5, 1}, {Png, 12, 1}, {Png, 66, 1}, {Png, 70, 1}}));

    // A guess holds only if the scan begins at the medium's start.
    scans = {{.type = Png, .blocks = {0, 5}, .guessed = {4}, .finds = {find(41)}},
             {.type = Png, .blocks = {5, 10}, .guessed = {6}, .finds = {find(60), find(70)}}};
    EXPECT_EQ(MergeScans(grid, scans).missing, (std::vector<MissingScan>{{Png, 0, 7, {{7, 8}}}}));
    scans.push_back({.type = Png, .blocks = {2, 7}, .finds = {find(41), find(61)}});
    EXPECT_EQ(MergeScans(grid, scans).finds, (std::vector<Find>{{Png, 41, 1}, {Png, 61, 1}, {Png, 70, 1}}));

    // Scans that are impossible on this grid.
    scans.push_back({.type = Png, .blocks = {-3, 12}});
    scans.push_back({.type = Png, .blocks = {9, 2}});
    scans.push_back({.type = FileTypeIndex::Doc, .blocks = {0, 10}, .finds = {find(1)}});
    EXPECT_EQ(MergeScans(grid, scans).finds.size(), 3U);
}

TEST(ScanRange, BelievesNothingOnceAReadWasGivenUp) {
    // The scanner follows the file into sectors that cannot be read, and is stopped there.
    Bytes image = ImageWithPngs(100, {0});
    std::fill_n(image.begin() + 8, 2900, std::uint8_t{1});
    auto device = std::make_unique<FakeDevice>(image);
    device->Break(3 * 512, 4 * 512);
    Medium medium(std::move(device), 512, {false, [] {
                                               return true;
                                           }});
    Recorder recorder;
    EXPECT_FALSE(ScanRange(medium, {{0, 100}, 2, AllTypes(), {}}, recorder));
    EXPECT_TRUE(medium.IsInterrupted());
    EXPECT_TRUE(recorder.finds.empty());
    EXPECT_LE(recorder.marks.size(), 1U);
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
