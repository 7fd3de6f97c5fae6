#include "frame/read/KFileSimulator.h"

#include <gtest/gtest.h>

#include <limits>

#include "tests/support/Medium.h"
#include "tests/support/Scan.h"

namespace {

using namespace test;
using Requests = std::vector<Medium::Request>;

// A medium whose every byte tells its place well enough for a mistaken offset to show.
Medium NumberedMedium(std::int64_t sectors, std::int32_t sectorSize = 512) {
    return Medium(sectorSize, Noise(3).Random(static_cast<std::size_t>(sectors * sectorSize)));
}

Bytes Slice(const Medium& medium, std::int64_t from, std::size_t length) {
    const auto begin = medium.Data().begin() + from;
    return {begin, begin + static_cast<std::ptrdiff_t>(length)};
}

Bytes ReadAt(KFileSimulator& reader, std::int64_t position, std::uint32_t length) {
    Bytes bytes(length);
    reader.Seek(position);
    EXPECT_TRUE(reader.Read(bytes.data(), length));
    EXPECT_EQ(reader.Tell(), position + length);
    return bytes;
}

TEST(KFileSimulator, ServesReadsThatCrossASectorFromTheBlock) {
    Medium medium = NumberedMedium(200);
    const SectorBlock block = BlockOf(medium, 10, 20);
    KFileSimulator reader(&block, Medium::StreamStart + 12, 1024);

    EXPECT_EQ(ReadAt(reader, 500, 40), Slice(medium, 12 * 512 + 500, 40));
    EXPECT_EQ(medium.requests, (Requests{{13, 64}})) << "the part behind the boundary ends inside its sector";

    medium.requests.clear();
    KFileSimulator wholeSectors(&block, Medium::StreamStart + 12, 1024);
    EXPECT_EQ(ReadAt(wholeSectors, 100, 512 * 3 - 100), Slice(medium, 12 * 512 + 100, 512 * 3 - 100));
    EXPECT_TRUE(medium.requests.empty());
}

TEST(KFileSimulator, ServesAReadInsideOneSectorThroughTheCache) {
    Medium medium = NumberedMedium(200);
    const SectorBlock block = BlockOf(medium, 0, 200);
    KFileSimulator reader(&block, Medium::StreamStart + 5, 0);
    EXPECT_EQ(ReadAt(reader, 600, 8), Slice(medium, 5 * 512 + 600, 8));
    EXPECT_EQ(medium.requests, (Requests{{6, 64}}));
    EXPECT_EQ(reader.ReadByte(), medium.Data()[5 * 512 + 608]);
    EXPECT_EQ(medium.requests.size(), 1U);
}

TEST(KFileSimulator, KeepsWhatItFetchedForTheNextCandidate) {
    Medium medium = NumberedMedium(200);
    const SectorBlock block = BlockOf(medium, 0, 200);
    KFileSimulator reader(&block, Medium::StreamStart + 5, 0);
    ReadAt(reader, 600, 8);
    for (const std::int64_t sector : {69, 6, 40}) {
        reader.Rebase(Medium::StreamStart + sector);
        EXPECT_EQ(ReadAt(reader, 20, 8), Slice(medium, sector * 512 + 20, 8));
    }
    reader.Rebase(Medium::StreamStart + 70);
    EXPECT_EQ(ReadAt(reader, 20, 8), Slice(medium, 70 * 512 + 20, 8));
    EXPECT_EQ(medium.requests, (Requests{{6, 64}, {70, 64}}));
}

TEST(KFileSimulator, TakesTheBlocksPartFirstAndRefillsBehindIt) {
    Medium medium = NumberedMedium(300);
    const SectorBlock block = BlockOf(medium, 0, 8);
    KFileSimulator reader(&block, Medium::StreamStart + 6, 0);
    EXPECT_EQ(ReadAt(reader, 0, 4096), Slice(medium, 6 * 512, 4096));
    EXPECT_EQ(medium.requests, (Requests{{8, 64}}));
    // After the block and before it.
    EXPECT_EQ(ReadAt(reader, 70000, 5), Slice(medium, 6 * 512 + 70000, 5));
    const SectorBlock late = BlockOf(medium, 100, 8);
    KFileSimulator before(&late, Medium::StreamStart + 2, 0);
    EXPECT_EQ(ReadAt(before, 0, 2048), Slice(medium, 1024, 2048));
}

TEST(KFileSimulator, WalksForwardWithOneHostCallPer32KiB) {
    for (const std::int32_t sectorSize : {1, 51, 512, 520, 4096, 32768}) {
        const std::int64_t sectors = 1'000'000 / sectorSize;
        Medium medium = NumberedMedium(sectors, sectorSize);
        const SectorBlock block = BlockOf(medium, 0, 1);
        KFileSimulator reader(&block, Medium::StreamStart, 0);
        Bytes all;
        for (std::uint32_t step = 1; all.size() + step <= medium.Data().size(); step = step % 5000 + 37) {
            Bytes piece(step);
            ASSERT_TRUE(reader.Read(piece.data(), step));
            all.insert(all.end(), piece.begin(), piece.end());
        }
        ASSERT_EQ(all, Slice(medium, 0, all.size())) << "sectors of " << sectorSize;
        const auto cached = static_cast<std::size_t>(32768 / sectorSize * sectorSize);
        EXPECT_LE(medium.requests.size(), all.size() / cached + 2) << "sectors of " << sectorSize;
    }
}

TEST(KFileSimulator, SurvivesEveryPosition) {
    Medium medium = NumberedMedium(4);
    const SectorBlock block = BlockOf(medium);
    constexpr std::int64_t last = std::numeric_limits<std::int64_t>::max();
    for (const std::int64_t base : {std::int64_t{1}, std::int64_t{-5}, last, last - 63, -last}) {
        for (const std::int64_t position : {std::int64_t{-1}, -last - 1, last, last - 1, last / 2, std::int64_t{0}}) {
            KFileSimulator reader(&block, base, 0);
            reader.Seek(position);
            Bytes bytes(600, 0xEE);
            const bool done = reader.Read(bytes.data(), 600);
            if (position < 0 || position >= last - 1 || base >= last - 63) {
                EXPECT_FALSE(done);
                EXPECT_EQ(reader.Tell(), position);
                EXPECT_EQ(bytes, Bytes(600, 0xEE));
            }
            EXPECT_TRUE(reader.Read(bytes.data(), 0));
        }
    }
    // A sector of one byte has as many sector numbers ahead as positions.
    SectorBlock bytewise = block;
    bytewise.sectorSize = 1;
    KFileSimulator atTheEnd(&bytewise, 0, 0);
    atTheEnd.Seek(last - 600);
    Bytes few(600);
    EXPECT_FALSE(atTheEnd.Read(few.data(), 600));
    KFileSimulator wrapping(&block, 1, 0);
    wrapping.Seek(last);
    EXPECT_TRUE(wrapping.Skip(1));
    EXPECT_EQ(wrapping.Tell(), std::numeric_limits<std::int64_t>::min());
    EXPECT_EQ(wrapping.ReadByte(), 0);
}

TEST(KFileSimulator, EndsAShortReadWhenNothingCanBeFetched) {
    Medium huge = NumberedMedium(3, 40000);
    const SectorBlock hugeBlock = BlockOf(huge, 0, 2);
    KFileSimulator reader(&hugeBlock, Medium::StreamStart, 0);
    Bytes bytes(100000, 0);
    EXPECT_FALSE(reader.Read(bytes.data(), 100000)) << "the third sector is larger than the cache";
    EXPECT_EQ(reader.Tell(), 80000);
    EXPECT_FALSE(reader.Read(bytes.data(), 4));

    Medium medium = NumberedMedium(4);
    SectorBlock block = BlockOf(medium);
    block.source = nullptr;
    KFileSimulator sourceless(&block, Medium::StreamStart, 0);
    EXPECT_FALSE(sourceless.Read(bytes.data(), 3 * 512 + 1));
    EXPECT_EQ(sourceless.Tell(), 3 * 512);

    block = BlockOf(medium);
    block.data = nullptr;
    KFileSimulator dataless(&block, Medium::StreamStart, 0);
    EXPECT_EQ(ReadAt(dataless, 0, 1024), Slice(medium, 0, 1024));
    for (const std::int32_t sectorSize : {0, -1, -512}) {
        block.sectorSize = sectorSize;
        EXPECT_FALSE(KFileSimulator(&block, Medium::StreamStart, 0).Read(bytes.data(), 16));
    }
}

TEST(KFileSimulator, CopiesWithItsCache) {
    Medium medium = NumberedMedium(100);
    const SectorBlock block = BlockOf(medium, 0, 1);
    KFileSimulator reader(&block, Medium::StreamStart + 3, 77);
    EXPECT_EQ(ReadAt(reader, 10, 4), Slice(medium, 3 * 512 + 10, 4));
    KFileSimulator copy(reader);
    EXPECT_EQ(copy.Tell(), 14);
    EXPECT_EQ(copy.LengthHint(), 77U);
    EXPECT_EQ(ReadAt(copy, 14, 8), Slice(medium, 3 * 512 + 14, 8));
    EXPECT_EQ(medium.requests.size(), 1U);
}

}  // namespace
