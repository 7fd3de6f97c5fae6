#include "frame/scan/SectorScan.h"

#include <gtest/gtest.h>

#include <vector>

#include "frame/bytes/BytePairs.h"

namespace {

using Sectors = std::vector<std::int64_t>;

// Blocks of up to nine sectors, with heads in every possible set of them, so that a step of several sectors that misses
// one shows.
TEST(ForEachSector, VisitsHeadsInOrderAndInsideAFileEverySector) {
    constexpr std::int32_t sectorSize = 16;
    constexpr SectorFilter head = SectorFilterOf(PatternOf("head"), 12);
    for (std::int32_t count = 0; count <= 9; ++count) {
        for (unsigned marked = 0; marked < 1U << static_cast<unsigned>(count); ++marked) {
            std::vector<std::uint8_t> bytes(std::size_t{9} * sectorSize);
            Sectors heads;
            Sectors fromFirstHead;
            for (std::int32_t i = 0; i < count; ++i) {
                const bool isMarked = (marked >> static_cast<unsigned>(i) & 1U) != 0;
                if (isMarked) {
                    std::memcpy(bytes.data() + i * sectorSize + 12, "head", 4);
                    heads.push_back(100 + i);
                }
                if (isMarked || !fromFirstHead.empty()) {
                    fromFirstHead.push_back(100 + i);
                }
            }
            const SectorBlock block{100, bytes.data(), count, sectorSize, nullptr};
            Sectors visited;
            const auto visit = [&](const Candidate& candidate) {
                EXPECT_EQ(candidate.sector.data(), bytes.data() + (candidate.startSector - 100) * sectorSize);
                visited.push_back(candidate.startSector);
            };
            ForEachSector(block, head, visit);
            ASSERT_EQ(visited, heads) << count << " sectors, heads " << marked;
            visited.clear();
            ForEachSector(
                block, head, [&visited] { return !visited.empty(); }, visit);
            ASSERT_EQ(visited, fromFirstHead) << count << " sectors, heads " << marked;
        }
    }
}

TEST(ForEachSector, LeavesSectorsTooSmallForTheHeadToTheVisitor) {
    const std::vector<std::uint8_t> bytes(30);
    const auto visits = [](const SectorBlock& block) {
        int count = 0;
        ForEachSector(block, SectorFilterOf(PatternOf("head"), 12), [&count](const Candidate&) { ++count; });
        return count;
    };
    EXPECT_EQ(visits({0, bytes.data(), 2, 15, nullptr}), 2);
    EXPECT_EQ(visits({0, nullptr, 2, 16, nullptr}), 2);
    EXPECT_EQ(visits({0, bytes.data(), 0, 15, nullptr}), 0);
    EXPECT_EQ(visits({0, bytes.data(), -1, 15, nullptr}), 0);
}

TEST(SectorFilter, ComparesTheBitsOfItsMaskAndWhatWordsHaveInCommon) {
    const auto stands = [](const auto& head, std::string_view text) {
        return head.Matches(Pattern<4>{static_cast<std::uint8_t>(text[0]), static_cast<std::uint8_t>(text[1]),
                                       static_cast<std::uint8_t>(text[2]), static_cast<std::uint8_t>(text[3])}
                                .data());
    };
    const SectorFilter three = SectorFilterOf(PatternOf("abc"));
    EXPECT_TRUE(stands(three, "abcd") && stands(three, "abcx"));
    EXPECT_FALSE(stands(three, "xbcd") || stands(three, "abxd"));
    const SectorFilter common = SectorFilterOf(PatternOf("FWS")).Common(SectorFilterOf(PatternOf("CWS")));
    EXPECT_TRUE(stands(common, "FWS1") && stands(common, "CWS1"));
    EXPECT_FALSE(stands(common, "FWT1") || stands(common, "fWS1"));
    constexpr AnySectorFilter any{SectorFilterOf(PatternOf("abcd")), SectorFilterOf(PatternOf("ab"), 2)};
    EXPECT_EQ(any.Reach(), 6U);
    constexpr BytePairs pairs =
        BytePairs().Allow("ab", 'x').Allow("c\xFF", [](std::uint8_t byte) { return byte > 'x'; });
    EXPECT_TRUE(stands(pairs, "ax--") && stands(pairs, "bx--") && stands(pairs, "cy--") && stands(pairs, "\xFF\xFE--"));
    EXPECT_FALSE(stands(pairs, "ay--") || stands(pairs, "cx--") || stands(pairs, "dx--") || stands(pairs, "xa--"));
}

}  // namespace
