#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <set>
#include <string>

#include "frame/contract/FileTypeCatalog.h"
#include "tests/support/Registry.h"
#include "tests/support/ReportRules.h"

namespace {

using namespace test;

// Drops text files that happen to begin at or inside a file of another type, and sorts: types over an engine report a
// block's files kind by kind.
Claims WithoutChanceText(Claims claims, const Claims& expected) {
    std::ranges::stable_sort(claims, {},
                             [](const Claim& claim) { return std::pair(claim.index, claim.found.startSector); });
    std::erase_if(claims, [&](const Claim& claim) {
        return claim.index == PlainText && std::ranges::find(expected, claim) == expected.end();
    });
    return claims;
}

TEST(Fixtures, CoverEveryType) {
    std::set<std::int32_t> covered;
    for (const Fixture& fixture : Fixtures()) {
        covered.insert(fixture.types.begin(), fixture.types.end());
        for (const std::int32_t index : fixture.types) {
            EXPECT_TRUE(fixture.SizeReportedBy(index) == std::ssize(fixture.bytes) ||
                        FileTypeCatalog[index].reportedSize != SizeExactness::Exact)
                << fixture << " has another size than is reported of it";
        }
    }
    for (std::int32_t index = 0; index < FileTypeCount; ++index) {
        EXPECT_TRUE(covered.contains(index)) << "no fixture or builder for " << FileTypeCatalog[index].name;
    }
}

class FixtureTest : public testing::TestWithParam<Fixture> {
protected:
    const Bytes& file = GetParam().bytes;
};

TEST_P(FixtureTest, IsReportedWithItsSizeByItsTypesAloneAtEveryBlockSplit) {
    ASSERT_FALSE(file.empty());
    Claims expected;
    for (const std::int32_t index : GetParam().types) {
        expected.push_back({index, {FixtureSector, GetParam().SizeReportedBy(index)}});
    }
    Medium medium(512, FixtureMedium(file));
    for (std::int64_t blockSectors = 1; blockSectors <= medium.SectorCount(); ++blockSectors) {
        ASSERT_EQ(WithoutChanceText(ScanWithAllTypes(medium, EvenBlocks(medium, blockSectors)), expected), expected)
            << "in blocks of " << blockSectors << " sectors";
    }
}

// A block without sectors may carry the number of the next one's first sector.
TEST_P(FixtureTest, BlocksWithoutSectorsChangeNothing) {
    Medium medium(512, FixtureMedium(file));
    const Blocks blocks = EvenBlocks(medium, 16);
    Blocks withEmpty;
    for (const std::int64_t count : blocks) {
        withEmpty.insert(withEmpty.end(), {0, count});
    }
    EXPECT_EQ(ScanWithAllTypes(medium, withEmpty), ScanWithAllTypes(medium, blocks));
}

// Up to 2 % of the file's bytes are changed: whatever is found then has a size that a host can take.
TEST_P(FixtureTest, DamageLeavesSaneFinds) {
    const Bytes intact = FixtureMedium(file);
    Noise noise(file.size());
    std::size_t reports = 0;
    for (int round = 0; round < 120; ++round) {
        Medium medium(512, intact);
        for (std::uint64_t changes = 1 + noise.Below(file.size() / 50); changes > 0; --changes) {
            std::uint8_t& byte = medium.Data()[FixtureSector * 512 + noise.Below(file.size())];
            constexpr std::uint8_t values[] = {0x00, 0x01, 0x7F, 0x80, 0xFF};
            byte = noise.Below(2) == 0 ? values[noise.Below(std::size(values))]
                                       : static_cast<std::uint8_t>(byte ^ (1U << noise.Below(8)));
        }
        for (const Claim& claim : ScanWithAllTypes(medium, RandomBlocks(medium, noise))) {
            ASSERT_TRUE(IsSaneSize(claim.index, claim.found.size, FileTypeCatalog[claim.index].maxSize)) << claim;
            ASSERT_GE(claim.found.startSector, 0) << claim;
            ASSERT_LT(claim.found.startSector, medium.SectorCount()) << claim;
            ++reports;
        }
    }
    EXPECT_TRUE(reports > 0 || GetParam().types.empty()) << "so much damage tests nothing";
}

INSTANTIATE_TEST_SUITE_P(Files, FixtureTest, testing::ValuesIn(Fixtures()), [](const auto& tested) {
    std::string name = tested.param.name;
    std::ranges::replace_if(
        name, [](unsigned char c) { return std::isalnum(c) == 0; }, '_');
    return name;
});

// All fixtures in a row: the scanners of all types meet all formats, and blocks end anywhere in them.
TEST(BlockCut, WhereBlocksEndChangesNothing) {
    Bytes bytes;
    Claims expected;
    for (const Fixture& fixture : Fixtures()) {
        const Bytes& file = fixture.bytes;
        const auto sector = static_cast<std::int64_t>(bytes.size() / 512);
        for (const std::int32_t index : fixture.types) {
            expected.push_back({index, {sector, fixture.SizeReportedBy(index)}});
        }
        // The type that counts a time stamp twice reaches into the next sector, where another stream would not be
        // found.
        bytes = Join({bytes, file, Zeros(1024 - file.size() % 512)});
    }
    std::ranges::stable_sort(expected, {}, &Claim::index);
    Medium medium(512, bytes);
    EXPECT_EQ(WithoutChanceText(ScanWithAllTypes(medium, {medium.SectorCount()}), expected), expected);
    Noise noise(11);
    for (int round = 0; round < 100; ++round) {
        ASSERT_EQ(WithoutChanceText(ScanWithAllTypes(medium, RandomBlocks(medium, noise)), expected), expected)
            << "round " << round;
    }
}

}  // namespace
