#include <FileTypeCatalog.h>
#include <gtest/gtest.h>

#include "host/platform/file_place.h"
#include "host/scan/scan_job.h"
#include "host/scan/segment_journal.h"
#include "host/scan/segment_plan.h"
#include "tests/host/TestFiles.h"

namespace salvor {

namespace {

using namespace test;
using FileTypeIndex::Doc;
using FileTypeIndex::Png;

const ScanGrid Grid{{100, 1000}, 10, {Doc, Png}};
const ScanKey Key{"salvor 1", "medium", "options"};

SegmentScan SegmentOfTwo() {
    SegmentScan segment{{2, 9}, true, {}, {}};
    segment.scans = {{.type = Doc, .blocks = {2, 9}, .restless = {{3, 5}, {9, 10}}, .guessed = {2, 3, 8}},
                     {.type = Png, .blocks = {2, 11}, .finds = {{{Png, 125, 0}, 120}, {{Png, -7, 1LL << 60}, 209}}}};
    segment.seen = {{}, {121, 180}, {{130, 3}, {150, 1}}, {{140, 20}}, {{160, 10}}};
    segment.setAside = {{StartsType, {5, 6}, "crashed"}};
    return segment;
}

SegmentRead ReadBack(const std::filesystem::path& path, const ScanKey& key) {
    File file = FilePlace(path).Read();
    return ReadSegment(file, key, Grid);
}

TEST(SegmentJournal, IsWholeOrOfNoUse) {
    const TempFolder folder;
    const SegmentScan written = SegmentOfTwo();
    File file = FilePlace(folder / "segment").Create();
    ASSERT_TRUE(WriteSegment(file, Key, written));
    const SegmentRead read = ReadBack(folder / "segment", Key);
    ASSERT_TRUE(read.segment) << read.why;
    EXPECT_EQ(*read.segment, written);

    for (const ScanKey& other : {ScanKey{"salvor 2", "medium", "options"},
                                 {"salvor 1", "another", "options"},
                                 {"salvor 1", "medium", "others"}}) {
        EXPECT_NE(ReadBack(folder / "segment", other).why, "it is cut or damaged");
    }
    const Bytes whole = ReadFile(folder / "segment");
    for (std::size_t at = 0; at < whole.size(); at += 5) {
        WriteFile(folder / "cut", Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(at)));
        ASSERT_FALSE(ReadBack(folder / "cut", Key).segment) << at;
        Bytes changed = whole;
        changed[at] ^= 1U;
        WriteFile(folder / "changed", changed);
        ASSERT_FALSE(ReadBack(folder / "changed", Key).segment) << at;
    }
}

TEST(ScanJob, KnowsItsDiskByTheSerialNumber) {
    const TempFolder temp;
    const Folder folder = Folder::Open(temp.Path());
    JournalHeader header;
    header.imageSize = 4096;
    WriteScanJob(folder, MakeScanJob(header, {4096, std::nullopt, "d", "Disk", "S1"}, 1));
    const MediumIdentity kept = ReadScanJob(folder).value().medium;
    EXPECT_EQ(ChangeOf(kept, {4096, std::nullopt, "d", "Disk", "S1"}), "");
    EXPECT_EQ(ChangeOf(kept, {4096, std::nullopt, "d", "", ""}), "");
    EXPECT_NE(ChangeOf(kept, {4096, std::nullopt, "d", "Disk", "S2"}).find("S1 and is 'Disk' with S2"),
              std::string::npos);
}

// On a small medium, each seam costs more than the second worker gains.
TEST(SegmentPlan, SmallMediaHaveFewSegments) {
    const auto mebibytes = [](std::int64_t medium) {
        return SegmentBlocks({{0, medium << 11}, 2048, {}}, 512);
    };
    EXPECT_EQ(mebibytes(40), 64);
    EXPECT_EQ(mebibytes(600), 150);
    EXPECT_EQ(mebibytes(3000), 512);
    EXPECT_EQ(mebibytes(40000), 625);
    EXPECT_EQ(mebibytes(10000000), 1024);
}

TEST(SegmentPlan, OpensWhatNoSegmentCovers) {
    using Parts = std::vector<OpenPart>;
    const auto open = [](const std::vector<SegmentScan>& segments) {
        return OpenParts(Grid, {0, 40}, segments, 25);
    };
    EXPECT_EQ(open({}), (Parts{{{0, 25}, {Doc, Png}, true}, {{25, 40}, {Doc, Png}, true}}));
    const SegmentScan alone{{0, 12}, false, {{.type = Png, .blocks = {0, 15}}}, {}, {{Doc, {0, 1}, "hung"}}};
    EXPECT_EQ(open({SegmentOfTwo(), alone, SegmentOfZeros(Grid, {20, 50})}),
              (Parts{{{0, 2}, {}, true}, {{1, 2}, {Doc}, false}, {{9, 20}, {Doc}, true}, {{12, 20}, {Png}, false}}));
    EXPECT_EQ(PieceOf(Grid, 3, 16), (BlockRange{12, 18}));
    EXPECT_EQ(PieceOf(Grid, 16, 16).end, Grid.BlockCount());
}

// What the segments have found together, provided that nothing is missing.
Sightings Joined(std::vector<SegmentScan> segments) {
    std::ranges::stable_sort(segments, {}, [](const SegmentScan& segment) { return segment.blocks.first; });
    const JoinPlan plan = PlanJoin(Grid, segments);
    EXPECT_TRUE(plan.missing.empty());
    Sightings all;
    const auto take = [&](const Sightings& seen) {
        std::ranges::copy(seen.finds, std::back_inserter(all.finds));
        std::ranges::copy(seen.starts, std::back_inserter(all.starts));
        std::ranges::for_each(seen.textStarts, [&](SectorRange range) { all.AddTextStarts(range); });
        std::ranges::for_each(seen.zeros, [&](SectorRange range) { all.AddZeros(range); });
    };
    SegmentJoiner joiner(Grid);
    for (std::size_t i = 0; i < segments.size(); ++i) {
        take(joiner.Add(segments[i], plan.kept[i]));
    }
    take(joiner.Finish());
    return all;
}

// A scan of a type begins again after the blocks in which it fails, and is not made to go on into them.
TEST(SegmentPlan, JoinsAroundWhatIsSetAside) {
    const auto scan = [](BlockRange blocks, std::int64_t sector) {
        return TypeScan{.type = Png,
                        .blocks = blocks,
                        .restless = {{blocks.end, blocks.end + 1}},
                        .guessed = {blocks.first},
                        .finds = {{{Png, sector, 1}, sector}}};
    };
    std::vector<SegmentScan> segments{SegmentOfZeros(Grid, {0, 100})};
    segments[0].scans.pop_back();
    segments[0].setAside = {{Png, {50, 51}, "hung"}};
    segments.push_back({{0, 50}, true, {scan({0, 50}, 150)}, {}});
    segments.push_back({{51, 60}, true, {scan({51, 60}, 650)}, {}});
    segments.push_back({{60, 100}, true, {scan({60, 100}, 950)}, {}});
    // The second scan is not at rest where the third begins, and no scan before the third confirms its guess.
    const JoinPlan plan = PlanJoin(Grid, segments);
    ASSERT_EQ(plan.missing.size(), 1U);
    EXPECT_EQ(plan.missing[0].part.from, 59);
    segments.push_back({{51, 61}, false, {{.type = Png, .blocks = {51, 61}, .guessed = {51}}}, {}});
    // Two machines may have scanned the same part.
    segments[1].seen = {{}, {120, 350}, {{340, 20}}, {}, {{300, 50}}};
    segments[2].seen = {{}, {350, 660}, {{345, 5}, {355, 10}}, {}, {{340, 20}}};
    EXPECT_EQ(Joined(segments),
              (Sightings{{{Png, 150, 1}, {Png, 950, 1}}, {120, 350, 660}, {{340, 25}}, {}, {{300, 60}}}));

    segments = {SegmentOfZeros(Grid, {70, 100})};
    segments[0].setAside = {{Png, {50, 51}, "hung"}, {Doc, {0, 70}, "hung"}};
    for (const MissingPart& missing : PlanJoin(Grid, segments).missing) {
        EXPECT_EQ(missing.type, Png);
        EXPECT_EQ(missing.part.from, 0);
        EXPECT_EQ(missing.part.last, 50);
    }
    EXPECT_EQ(NextSetAside(Grid, segments, std::vector{Png}, 51), 100);
}

}  // namespace

}  // namespace salvor
