#include "frame/read/FileWindow.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "tests/support/Scan.h"

namespace {

using namespace test;

constexpr std::int64_t FileSector = 3;

// A file that begins at `FileSector`, seen from the block of `blockSectors` sectors that begins there.
struct Seen {
    Seen(Medium& medium, std::int64_t blockSectors, std::int64_t limit)
        : block(BlockOf(medium, FileSector, blockSectors)),
          candidate{block, block.firstSector, ByteSpan(block.data, 512)},
          window(candidate, limit, budget, reader) {}

    SectorBlock block;
    Candidate candidate;
    Budget budget;
    SharedReader reader;
    FileWindow window;
};

ByteSpan File(const Medium& medium) { return ByteSpan(medium.Data()).subspan(FileSector * 512); }

TEST(FileWindow, ShowsTheFilesBytesAtAnyOffsetFromAnyBlock) {
    Noise noise(3);
    Medium medium(512, noise.Random(200 * 512));
    const ByteSpan file = File(medium);
    for (const std::int64_t blockSectors : {1, 2, 40, 197}) {
        Seen seen(medium, blockSectors, 90000);
        for (int round = 0; round < 2000; ++round) {
            const auto offset = static_cast<std::int64_t>(noise.Below(90100));
            const std::size_t wanted = 1 + noise.Below(noise.Below(2) == 0 ? 16 : FileWindow::PieceBytes);
            const ByteSpan bytes = seen.window.From(offset, wanted);
            const auto left = static_cast<std::size_t>(std::max<std::int64_t>(90000 - offset, 0));
            ASSERT_GE(bytes.size(), std::min(wanted, left)) << offset;
            ASSERT_LE(bytes.size(), left);
            ASSERT_TRUE(std::ranges::equal(bytes, file.subspan(static_cast<std::size_t>(offset), bytes.size())));
            ASSERT_EQ(seen.window.At(offset, wanted).size(), wanted <= left ? wanted : 0);
        }
        EXPECT_TRUE(seen.window.From(-1).empty());
    }
}

TEST(FileWindow, EndsWithTheMediumAndWithTheBlockWhenThereIsNoSource) {
    Medium medium(512, Bytes(20 * 512, 1));
    EXPECT_EQ(Seen(medium, 1, 1 << 30).window.Limit(), 20 * 512);
    SectorBlock block = BlockOf(medium, FileSector, 2);
    block.source = nullptr;
    const Candidate candidate{block, block.firstSector, ByteSpan(block.data, 512)};
    Budget budget;
    SharedReader reader;
    FileWindow window(candidate, 1 << 30, budget, reader);
    EXPECT_EQ(window.At(1000, 24).size(), 24U);
    EXPECT_TRUE(window.At(1000, 25).empty());
    EXPECT_TRUE(window.From(1024).empty());
}

TEST(FileWindow, FindsAMarkAcrossPiecesAndOnlyWithinItsBounds) {
    const auto pattern = PatternOf("%%EOF");
    const BytePattern mark{pattern};
    for (const std::int64_t at : {0, 509, 1022, 1024 + 16382, 40000}) {
        Medium medium(512, Zeros(100 * 512));
        std::ranges::copy(pattern, medium.Data().begin() + FileSector * 512 + at);
        Seen seen(medium, 2, 45000);
        EXPECT_EQ(seen.window.Find(mark, 0, 45000), at);
        EXPECT_EQ(seen.window.Find(mark, at, at + 5), at);
        EXPECT_EQ(seen.window.Find(mark, at + 1, 45000), std::nullopt);
        EXPECT_EQ(seen.window.Find(mark, 0, at + 4), std::nullopt);
    }
}

}  // namespace
