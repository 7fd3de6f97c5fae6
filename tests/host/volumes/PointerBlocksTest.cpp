#include "host/volumes/pointer_blocks.h"

#include <gtest/gtest.h>

#include <numeric>

#include "host/volumes/prefer_known.h"
#include "tests/host/Program.h"
#include "tests/support/Numbers.h"

namespace salvor {

namespace {

using namespace test;

constexpr std::int64_t Block = 1024;

// A medium of blocks whose file system begins at its eighth sector, and blocks of numbers on it.
struct Blocks {
    static constexpr std::int64_t Start = 4096;
    Bytes bytes = Bytes(Start + 2000 * Block);

    void Put(std::size_t block, const std::vector<std::uint32_t>& numbers) {
        for (std::size_t i = 0; i < numbers.size(); ++i) {
            ::test::PutNumber(bytes, static_cast<std::size_t>(Start) + block * Block + 4 * i, numbers[i], 4);
        }
    }
    static std::int64_t SectorOf(std::int64_t block) { return (Start + block * Block) / 512; }
    static Extent Of(std::int64_t first, std::int64_t count) { return {SectorOf(first), count * Block}; }
};

std::vector<std::uint32_t> Numbers(std::uint32_t first, std::size_t count) {
    std::vector<std::uint32_t> numbers(count);
    std::iota(numbers.begin(), numbers.end(), first);
    return numbers;
}

}  // namespace

TEST(PointerBlocks, GiveTheExtentsOfFilesWhoseInodesAreLost) {
    Blocks blocks;
    // Files of 12 blocks and 5 more, in two places; 1 more; 256 and 256 + 2 more; and one where the numbers descend.
    blocks.Put(112, {113, 114, 115, 180, 181});
    blocks.Put(212, {213});
    blocks.Put(312, Numbers(313, 256));
    blocks.Put(569, {570, 900});
    blocks.Put(570, Numbers(571, 256));
    blocks.Put(900, {901, 902});
    blocks.Put(1012, {1013, 1014, 1015, 1016, 1001});
    const ScanMedium medium(std::make_unique<Medium>(std::make_unique<FakeDevice>(blocks.bytes), 512));
    Outcomes outcomes(2);
    outcomes[0].startSector = Blocks::SectorOf(200);
    outcomes[1].startSector = Blocks::SectorOf(1000);
    const std::vector<std::int64_t> starts{Blocks::SectorOf(100), Blocks::SectorOf(300)};
    const std::vector<KnownFile> files = FollowPointerBlocks(outcomes, starts, medium);
    ASSERT_EQ(files.size(), 3U);
    EXPECT_EQ(files[0].extents, (std::vector{Blocks::Of(100, 12), Blocks::Of(113, 3), Blocks::Of(180, 2)}));
    EXPECT_EQ(files[1].extents, (std::vector{Blocks::Of(200, 12), Blocks::Of(213, 1)}));
    EXPECT_EQ(files[2].extents,
              (std::vector{Blocks::Of(300, 12), Blocks::Of(313, 256), Blocks::Of(571, 256), Blocks::Of(901, 2)}));

    // Alone, the one with a single number proves nothing; a whole file may end before such a block.
    outcomes.pop_back();
    EXPECT_TRUE(FollowPointerBlocks(outcomes, {}, medium).empty());
    outcomes[0].finding = {.verdict = Verdict::Whole, .size = 12 * Block};
    EXPECT_EQ(FollowPointerBlocks(outcomes, {starts[0]}, medium).size(), 1U);
    outcomes[0].finding.size += 1;
    EXPECT_EQ(FollowPointerBlocks(outcomes, {starts[0]}, medium).size(), 2U);
}

// Its scanner reports no archive that is interrupted, so only its start leads there.
TEST(PointerBlocks, GiveFilesToListsAndFoldersAlike) {
    const TempFolder folder;
    const Bytes file = Fixture("slides.pptx");
    const auto place = [](std::int64_t block) {
        return Blocks::SectorOf(block) * 512;
    };
    Blocks blocks;
    blocks.Put(112, Numbers(113, file.size() / Block - 11));
    std::copy(file.begin(), file.begin() + 12 * Block, blocks.bytes.begin() + place(100));
    std::copy(file.begin() + 12 * Block, file.end(), blocks.bytes.begin() + place(113));
    WriteFile(folder / "image", blocks.bytes);
    const std::string out = Quoted(folder / "out");
    EXPECT_EQ(RunProgram("recover " + Quoted(folder / "image") + " --quiet --out " + out).status, 0);
    EXPECT_EQ(ReadFile(folder / "out/pptx/f0000000208.pptx"), file);
    const std::string list = RunProgram("list " + out).output;
    EXPECT_EQ(RunProgram("list " + Quoted(folder / "out/finds.jsonl")).output, list);
}

TEST(PointerBlocks, TellWhereAFileLiesButNotItsSize) {
    KnownFile file;
    file.isDeleted = file.isComplete = file.isRebuilt = true;
    file.extents = {{8, 12 * Block}, {34, 4 * Block}};
    file.size = 16 * Block;
    Outcomes outcomes(1);
    outcomes[0].startSector = 8;
    PreferKnown(KnownFiles({file}, {}, 512), {{0, {.verdict = Verdict::Whole, .size = 15 * Block}}}, 512, outcomes);
    EXPECT_EQ(outcomes[0].finding.size, 15 * Block);
    EXPECT_EQ(outcomes[0].place->extents, file.extents);
    EXPECT_EQ(outcomes[0].known, -1);
}

}  // namespace salvor
