#include "host/medium/medium.h"

#include <gtest/gtest.h>

#include <limits>

#include "host/scan/block_reader.h"
#include "host/scan/stream.h"
#include "tests/host/TestFiles.h"

namespace salvor {

namespace {

using namespace test;

// The medium's bytes as they must be delivered, with zeros after the end.
Bytes Expected(const Bytes& image, std::int64_t firstSector, std::int64_t count) {
    Bytes bytes(static_cast<std::size_t>(count * 512), 0);
    for (std::int64_t i = 0; i < count * 512; ++i) {
        const std::int64_t from = firstSector * 512 + i;
        if (from >= 0 && from < static_cast<std::int64_t>(image.size())) {
            bytes[static_cast<std::size_t>(i)] = image[static_cast<std::size_t>(from)];
        }
    }
    return bytes;
}

Bytes ReadSectors(Medium& medium, std::int64_t firstSector, std::int64_t count) {
    Bytes bytes(static_cast<std::size_t>(count * medium.SectorSize()), 0xEE);
    medium.Read(firstSector, bytes.data(), count);
    return bytes;
}

TEST(Medium, GivesZerosOutsideAndInTheRestOfAPartialSector) {
    const Bytes image = test::Pattern(10 * 512 + 100);
    Medium medium(std::make_unique<FakeDevice>(image), 512);
    EXPECT_EQ(medium.SectorCount(), 11);
    for (const auto& [first, count] : std::vector<std::pair<std::int64_t, std::int64_t>>{
             {0, 11}, {10, 1}, {9, 5}, {11, 2}, {-3, 20}, {-3, 3}, {-3, 2}, {1000, 1}}) {
        EXPECT_EQ(ReadSectors(medium, first, count), Expected(image, first, count)) << first << ", " << count;
    }
    constexpr std::int64_t last = std::numeric_limits<std::int64_t>::max();
    EXPECT_EQ(ReadSectors(medium, last - 1, 4), Bytes(2048, 0));
    EXPECT_EQ(ReadSectors(medium, -last, 4), Bytes(2048, 0));
    EXPECT_EQ(medium.Unreadable().SectorCount(), 0);
}

TEST(Medium, FindsUnreadableSectorsAndNeverTouchesThemAgain) {
    Bytes image = test::Pattern(64 * 512);
    for (const std::int32_t deviceSector : {512, 4096}) {
        const auto makeDevice = [&] {
            auto device = std::make_unique<FakeDevice>(image);
            device->sectorSize = deviceSector;
            device->Break(20 * 512 + 7, 20 * 512 + 8);
            device->Break(22 * 512, 24 * 512);
            device->Break(63 * 512 + 511, 64 * 512);
            return device;
        };
        const std::vector<SectorRange> expected = deviceSector == 512
                                                      ? std::vector<SectorRange>{{20, 1}, {22, 2}, {63, 1}}
                                                      : std::vector<SectorRange>{{16, 8}, {56, 8}};
        Bytes readable = image;
        for (const SectorRange& bad : expected) {
            std::fill_n(readable.begin() + bad.first * 512, bad.count * 512, std::uint8_t{0});
        }
        Medium medium(makeDevice(), 512);
        EXPECT_EQ(ReadSectors(medium, 0, 64), Expected(readable, 0, 64));
        EXPECT_EQ(medium.Unreadable().Ranges(), expected);
        EXPECT_EQ(medium.TakeNewlyUnreadable().Ranges(), expected);
        EXPECT_TRUE(medium.TakeNewlyUnreadable().Ranges().empty());
        EXPECT_TRUE(medium.HoldsUnreadable({21, 2}));
        EXPECT_FALSE(medium.HoldsUnreadable({24, 32}));
        const std::vector<ByteRange> pieces{{60 * 512, 4 * 512}, {20 * 512 + 100, 2 * 512}, {0, 700}};
        EXPECT_EQ(
            medium.UnreadableIn(pieces),
            (deviceSector == 512 ? std::vector<ByteRange>{{3 * 512, 512}, {4 * 512, 412}, {5 * 512 - 100 + 512, 100}}
                                 : std::vector<ByteRange>{{0, 4 * 512}, {4 * 512, 2 * 512}}));

        // Sectors that an earlier run noted as bad are not read again, and the rest of their pages only sector by
        // sector.
        auto device = makeDevice();
        const FakeDevice& fake = *device;
        Medium later(std::move(device), 512);
        later.NoteUnreadable(expected);
        EXPECT_EQ(ReadSectors(later, 0, 64), Expected(readable, 0, 64));
        EXPECT_EQ(ReadSectors(later, 17, 6), Expected(readable, 17, 6));
        EXPECT_EQ(fake.failures, 0);
    }
}

// Reads an image with these bad bytes block by block.
struct RescueRun {
    RescueRun(std::int64_t mebibytes, const std::vector<ByteRange>& broken, FailurePolicy policy = {})
        : image(test::Pattern(static_cast<std::size_t>(mebibytes << 20U))) {
        auto device = std::make_unique<FakeDevice>(image);
        for (const ByteRange& range : broken) {
            device->Break(range.first, range.first + range.count);
        }
        const FakeDevice& fake = *device;
        Medium medium(std::move(device), 512, std::move(policy));
        for (std::int64_t sector = 0; sector < mebibytes * 2048; sector += 2048) {
            const Bytes block = ReadSectors(medium, sector, 2048);
            delivered.insert(delivered.end(), block.begin(), block.end());
        }
        unreadable = medium.Unreadable().Ranges();
        isInterrupted = medium.IsInterrupted();
        reads = fake.reads;
        failures = fake.failures;
    }

    Bytes image;
    Bytes delivered;
    std::vector<SectorRange> unreadable;
    bool isInterrupted = false;
    std::int64_t reads = 0;
    std::int64_t failures = 0;
};

TEST(Medium, TriesABadStretchFewTimes) {
    constexpr std::int64_t mebibyte = 1 << 20;
    constexpr ByteRange stretch{5 * mebibyte / 2 + 512, mebibyte};
    const std::vector<SectorRange> whole{{5 * 1024 + 1, 2048}};
    const RescueRun tried(8, {stretch});
    EXPECT_EQ(tried.unreadable, whole);
    EXPECT_LT(tried.failures, 160);
    const RescueRun skipped(8, {stretch}, {true, [] {
                                               return false;
                                           }});
    EXPECT_EQ(skipped.unreadable, whole);
    EXPECT_LT(skipped.failures, 25);
    // A device that is gone.
    EXPECT_LT(RescueRun(64, {{mebibyte, 63 * mebibyte}}).failures, 280);

    // A readable island inside comes back to the sector, unless bad areas are skipped.
    const std::vector<ByteRange> withIsland{{stretch.first, 300 * 512},
                                            {stretch.first + 340 * 512, mebibyte - 340 * 512}};
    const std::vector<SectorRange> aroundIsland{{5 * 1024 + 1, 300}, {5 * 1024 + 341, 2048 - 340}};
    const RescueRun island(8, withIsland);
    EXPECT_EQ(island.unreadable, aroundIsland);
    EXPECT_TRUE(std::equal(island.image.begin() + stretch.first + 300 * 512,
                           island.image.begin() + stretch.first + 340 * 512,
                           island.delivered.begin() + stretch.first + 300 * 512));
    EXPECT_EQ(RescueRun(8, withIsland,
                        {true,
                         [] {
                             return false;
                         }})
                  .unreadable,
              whole);
}

TEST(Medium, LosesNoNeighbourOfScatteredBadSectors) {
    std::vector<ByteRange> broken;
    std::vector<SectorRange> expected;
    for (std::int64_t i = 0; i < 100; ++i) {
        const std::int64_t sector = i * 327 + i % 8;
        broken.push_back({sector * 512, 512});
        expected.push_back({sector, 1});
    }
    const RescueRun run(16, broken);
    EXPECT_EQ(run.unreadable, expected);
    EXPECT_LT(run.failures, 210);
    EXPECT_LT(run.reads, 1300);
}

TEST(Medium, HearsAStopBetweenTwoTries) {
    int left = 5;
    const RescueRun run(8, {{1 << 20, 1 << 20}}, {false, [&left] {
                                                      return --left < 0;
                                                  }});
    EXPECT_TRUE(run.isInterrupted);
    EXPECT_LE(run.failures, 6);
    EXPECT_TRUE(run.unreadable.empty());
}

TEST(Medium, DoesNotReadHoles) {
    Bytes image = test::Pattern(64 * 512 + 100);
    auto device = std::make_unique<FakeDevice>(image);
    for (const auto& [from, to] : std::vector<std::pair<std::int64_t, std::int64_t>>{
             {0, 5 * 512}, {10 * 512 + 1, 20 * 512 - 1}, {40 * 512, 64 * 512 + 100}}) {
        // A read would show that they are not zeros.
        device->Punch(from, to);
        std::fill(image.begin() + (from + 511) / 512 * 512,
                  image.begin() + (to == std::ssize(image) ? to : to / 512 * 512), std::uint8_t{0});
    }
    Medium medium(std::move(device), 512);
    EXPECT_EQ(ReadSectors(medium, 0, 65), Expected(image, 0, 65));
    EXPECT_EQ(ReadSectors(medium, 15, 3), Expected(image, 15, 3));
    for (const auto& [sector, zeros] : std::vector<std::pair<std::int64_t, std::int64_t>>{
             {0, 5}, {4, 1}, {5, 0}, {10, 0}, {11, 8}, {19, 0}, {40, 25}, {64, 1}}) {
        EXPECT_EQ(medium.ZeroSectorsFrom(sector), zeros) << sector;
    }

    std::vector<std::int64_t> seen;
    BlockReader reader(medium, {0, 65}, 4);
    while (const auto block = reader.Next()) {
        seen.push_back(block->sectors.first);
        const auto size = static_cast<std::ptrdiff_t>(block->sectors.count * 512);
        EXPECT_EQ(Bytes(block->data, block->data + size), Expected(image, block->sectors.first, block->sectors.count));
        if (block->sectors.first == 40) {
            EXPECT_EQ(block->zeros, (SectorRange{40, 25}));
            reader.SkipZeros();
        }
    }
    EXPECT_EQ(seen, (std::vector<std::int64_t>{0, 4, 8, 12, 16, 20, 24, 28, 32, 36, 40}));
}

TEST(SectorRangeSet, MergesRangesThatOverlapOrTouch) {
    SectorRangeSet set;
    for (const SectorRange range : {SectorRange{10, 5}, {20, 5}, {15, 5}, {0, 1}, {2, 1}, {1, 1}, {12, 2}, {30, 0}}) {
        set.Add(range);
    }
    EXPECT_EQ(set.Ranges(), (std::vector<SectorRange>{{0, 3}, {10, 15}}));
    EXPECT_EQ(set.SectorCount(), 18);
    set.Add({0, 100});
    EXPECT_EQ(set.Ranges(), (std::vector<SectorRange>{{0, 100}}));
    EXPECT_TRUE(set.Contains(99));
    EXPECT_FALSE(set.Contains(100));
}

TEST(BlockReader, DeliversTheRangeInOrderAndEndsWhenItIsLeftEarly) {
    const Bytes image = test::Pattern(1000 * 512);
    for (const bool isFile : {false, true}) {
        auto device = std::make_unique<FakeDevice>(image);
        device->copySource = isFile ? std::optional(0) : std::nullopt;
        Medium medium(std::move(device), 512);
        for (const std::int64_t blockSectors : {1, 7, 64, 990, 5000}) {
            const SectorRange range{5, 990};
            BlockReader reader(medium, range, blockSectors);
            std::int64_t next = range.first;
            while (const auto block = reader.Next()) {
                ASSERT_EQ(block->sectors.first, next);
                const std::uint8_t* const bytes = block->Read(block->sectors.count);
                const auto size = static_cast<std::ptrdiff_t>(block->sectors.count * 512);
                ASSERT_EQ(Bytes(bytes, bytes + size), Expected(image, next, block->sectors.count));
                next += block->sectors.count;
            }
            EXPECT_EQ(next, 995) << blockSectors;
            EXPECT_FALSE(reader.Next());
        }
        BlockReader left(medium, {0, 1000}, 10);
        EXPECT_TRUE(left.Next());
    }
}

TEST(BlockReader, ReadsNoMoreOfAFileThanItsCallerGetsTo) {
    auto device = std::make_unique<FakeDevice>(test::Pattern(2000 * 512));
    const FakeDevice& fake = *device;
    device->copySource = 0;
    Medium medium(std::move(device), 512);
    BlockReader reader(medium, {0, 2000}, 1000);
    const auto block = reader.Next();
    EXPECT_EQ(fake.reads, 0);
    block->Read(1);
    block->Read(256);
    EXPECT_EQ(fake.reads, 1);
}

TEST(StreamSource, NumbersTheMediumFromOneAndServesTheBlockInHand) {
    const Bytes image = test::Pattern(100 * 512);
    auto device = std::make_unique<FakeDevice>(image);
    FakeDevice& fake = *device;
    Medium medium(std::move(device), 512);
    StreamSource source(medium);
    const Bytes held = ReadSectors(medium, 10, 20);
    source.SetBlock({{10, 20}, held.data()});
    const std::int64_t readsBefore = fake.reads;
    const auto read = [&](std::int64_t first, std::int32_t count) {
        Bytes bytes(static_cast<std::size_t>(count) * 512, 0xEE);
        source.ReadSectors(first, bytes.data(), count);
        return bytes;
    };
    EXPECT_EQ(read(11, 20), Expected(image, 10, 20));
    EXPECT_EQ(read(30, 1), Expected(image, 29, 1));
    EXPECT_EQ(fake.reads, readsBefore);
    EXPECT_EQ(read(11, 21), Expected(image, 10, 21));
    EXPECT_EQ(read(10, 2), Expected(image, 9, 2));
    EXPECT_EQ(read(0, 2), Expected(image, -1, 2));
    EXPECT_EQ(read(std::numeric_limits<std::int64_t>::min(), 1), Bytes(512, 0));
    SectorGeometry geometry{};
    source.GetGeometry(&geometry);
    EXPECT_EQ(geometry.bytesPerSector, 512U);
    EXPECT_EQ(geometry.sectorCount, 100);
}

}  // namespace

}  // namespace salvor
