#include "host/medium/medium.h"

#include <gtest/gtest.h>

#include <limits>

#include "host/scan/block_reader.h"
#include "host/scan/stream.h"
#include "tests/host/TestFiles.h"

namespace salvor {

namespace {

using namespace test;

// The medium's bytes as they must be delivered: zeros behind the end.
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

TEST(Medium, TriesUnreadableSectorsOneByOneAndRemembersThem) {
    Bytes image = test::Pattern(64 * 512);
    auto device = std::make_unique<FakeDevice>(image);
    device->Break(20 * 512 + 7, 20 * 512 + 8);
    device->Break(22 * 512, 24 * 512);
    device->Break(63 * 512 + 511, 64 * 512);
    FakeDevice& fake = *device;
    Medium medium(std::move(device), 512);
    for (const std::int64_t bad : {20, 22, 23, 63}) {
        std::fill_n(image.begin() + bad * 512, 512, std::uint8_t{0});
    }
    EXPECT_EQ(ReadSectors(medium, 0, 64), Expected(image, 0, 64));
    const std::vector<SectorRange> expected{{20, 1}, {22, 2}, {63, 1}};
    EXPECT_EQ(medium.Unreadable().Ranges(), expected);
    EXPECT_EQ(medium.TakeNewlyUnreadable().Ranges(), expected);
    EXPECT_TRUE(medium.TakeNewlyUnreadable().Ranges().empty());

    // What is known to be bad is not tried again: that can take seconds a sector.
    const std::int64_t readsBefore = fake.reads;
    EXPECT_EQ(ReadSectors(medium, 20, 1), Bytes(512, 0));
    EXPECT_EQ(fake.reads, readsBefore);
    EXPECT_EQ(ReadSectors(medium, 0, 64), Expected(image, 0, 64));
    EXPECT_TRUE(medium.HoldsUnreadable({21, 2}));
    EXPECT_FALSE(medium.HoldsUnreadable({24, 39}));
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
    Medium medium(std::make_unique<FakeDevice>(image), 512);
    for (const std::int64_t blockSectors : {1, 7, 64, 990, 5000}) {
        const SectorRange range{5, 990};
        BlockReader reader(medium, range, blockSectors);
        std::int64_t next = range.first;
        while (const auto block = reader.Next()) {
            ASSERT_EQ(block->sectors.first, next);
            const auto size = static_cast<std::ptrdiff_t>(block->sectors.count * 512);
            ASSERT_EQ(Bytes(block->data, block->data + size), Expected(image, next, block->sectors.count));
            next += block->sectors.count;
        }
        EXPECT_EQ(next, 995) << blockSectors;
        EXPECT_FALSE(reader.Next());
    }
    BlockReader left(medium, {0, 1000}, 10);
    EXPECT_TRUE(left.Next());
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
