#include <gtest/gtest.h>

#include <string>

#include "tests/support/Scan.h"

namespace {

using namespace test;

constexpr std::int32_t Txt = FileTypeIndex::Text;
constexpr std::int64_t Cap = 0x10000;

// The rule, byte by byte.
std::vector<Found> ReferenceText(const Medium& medium, std::int64_t maxSize) {
    std::vector<Found> finds;
    const auto isText = [](std::uint8_t b) {
        return (b >= 0x20 && b < 0x80) || b == 9 || b == 10 || b == 13;
    };
    std::int64_t start = -1;
    std::int64_t length = 0;
    for (std::int64_t sector = 0; sector < medium.SectorCount(); ++sector) {
        const auto from = medium.Data().begin() + sector * medium.SectorSize();
        start = start < 0 && isText(*from) ? sector : start;
        std::int64_t count = 0;
        while (count < medium.SectorSize() && isText(from[count])) {
            ++count;
        }
        length += count;
        if (count < medium.SectorSize()) {
            if (start >= 0 && length >= 256) {
                finds.push_back({start, std::min(length, maxSize)});
            }
            start = -1;
            length = 0;
        }
    }
    return finds;
}

TEST(Text, IsAnUnbrokenRunFromASectorStart) {
    Medium medium;
    medium.Put(1, std::string(300, 'a')).Put(3, std::string(1536, '~')).Grow(8);
    medium.Put(8, std::string(255, 'a'))
        .Put(10, "\x0C" + std::string(400, 'a'))
        .Put(12, "\xC3" + std::string(600, 'a'));
    medium.Put(20, std::string(100 * 1024, '\t')).Grow(230);
    const std::vector<Found> expected{{1, 300}, {3, 1536}, {20, Cap}};
    EXPECT_EQ(ScanAtEverySplit(Txt, medium), expected);
}

TEST(Text, FollowsTheRuleOnRandomMedia) {
    Noise noise(5);
    const std::string odd("\0\x08\t\n\x0B\x0C\r\x0E\x1F \x7E\x7F\x80\xA0\xFF", 15);
    std::size_t finds = 0;
    for (const std::int32_t sectorSize : {1, 63, 64, 200, 512, 520}) {
        for (int round = 0; round < 60; ++round) {
            Medium medium(sectorSize, Bytes(static_cast<std::size_t>(sectorSize) * 70, 'x'));
            for (std::uint64_t changes = noise.Below(40); changes > 0; --changes) {
                medium.Data()[noise.Below(medium.Data().size())] =
                    static_cast<std::uint8_t>(odd[noise.Below(odd.size())]);
            }
            medium.Grow(71);
            const std::int64_t maxSize = round % 2 == 0 ? Cap : 300;
            const auto expected = ReferenceText(medium, maxSize);
            const TypePtr type = CreateType(Txt);
            ASSERT_EQ(Scan(*type, medium, RandomBlocks(medium, noise), maxSize), expected) << sectorSize;
            finds += expected.size();
        }
    }
    EXPECT_GT(finds, 500U);
}

}  // namespace
