#include "frame/memory/Trail.h"

#include <gtest/gtest.h>

#include "tests/support/Scan.h"

namespace {

using namespace test;

constexpr std::int32_t SectorSize = 64;

// The number of records, and the first length of a certain kind, which depends on their order.
struct Facts {
    std::int64_t records = 0;
    std::int64_t firstOdd = 0;

    void Append(const Facts& behind) {
        records += behind.records;
        firstOdd = firstOdd != 0 ? firstOdd : behind.firstOdd;
    }
};
using Way = Trail<Facts>::Stretch;

// At each place the length of the record that begins there; 0 ends the chain.
struct Chains {
    std::vector<std::int64_t> lengths;
    std::int64_t reads = 0;

    Way RecordAt(std::int64_t start, std::int64_t offset) {
        ++reads;
        const auto place = static_cast<std::size_t>(start + offset);
        const std::int64_t length = place < lengths.size() ? lengths[place] : 0;
        return {.to = offset + length, .facts = {1, length % 2 * length}, .isEnd = length == 0};
    }
    Way Plain(std::int64_t start, std::int64_t from, std::int64_t limit, std::int64_t most) {
        Way way{.to = from};
        while (!way.isEnd && way.to < limit && way.facts.records < most) {
            const Way record = RecordAt(start, way.to);
            way.facts.Append(record.facts);
            way = {record.to, way.facts, record.isEnd};
        }
        return way;
    }
};

struct Walker {
    Medium medium{SectorSize};
    Trail<Facts> trail;

    SectorBlock Enter(std::int64_t firstSector, std::int32_t sectors) {
        const SectorBlock block{firstSector, nullptr, sectors, SectorSize, &medium};
        trail.EnterBlock(block);
        return block;
    }
    Way Walk(Chains& chains, const SectorBlock& block, std::int64_t start, std::int64_t from, std::int64_t limit,
             std::int64_t most = std::int64_t{1} << 60) {
        const Candidate candidate{block, block.firstSector + start / SectorSize, {}};
        return *trail.Walk(
            candidate, from, limit,
            [&](KFileSimulator&, std::int64_t offset) {
                if (most == 0) {
                    return std::optional<Way>();
                }
                --most;
                return std::optional(chains.RecordAt(start, offset));
            },
            [&](const Way& known) {
                const bool isEnough = known.facts.records <= most;
                most -= isEnough ? known.facts.records : 0;
                return isEnough;
            });
    }
};

TEST(Trail, AWalkThatMeetsAnotherEndsAsItWouldAlone) {
    Noise noise(11);
    Walker walker;
    for (int round = 40; round > 0; --round) {
        const std::int64_t bytes = std::int64_t{1} << (12 + noise.Below(9));
        Chains chains;
        const std::uint64_t longest = std::uint64_t{2} << noise.Below(12);
        for (std::int64_t place = 0; place < bytes; ++place) {
            const bool isFar = noise.Below(300) == 0;
            const bool isEnd = noise.Below(3000) == 0;
            chains.lengths.push_back(isEnd ? 0 : static_cast<std::int64_t>(1 + noise.Below(isFar ? 40000 : longest)));
        }
        // Knowledge from the round before, elsewhere on the medium, must not be used here.
        const SectorBlock block = walker.Enter(1000 * round, static_cast<std::int32_t>(bytes / SectorSize));
        std::int64_t limit = bytes / 2;
        for (std::int64_t start = 0; start < bytes;
             start += SectorSize * static_cast<std::int64_t>(1 + noise.Below(4))) {
            limit = noise.Below(50) == 0 ? static_cast<std::int64_t>(noise.Below(static_cast<std::uint64_t>(bytes)))
                                         : limit;
            const auto from = static_cast<std::int64_t>(noise.Below(3) * 9);
            const auto most = static_cast<std::int64_t>(noise.Below(4) == 0 ? noise.Below(500) : 1U << 30U);
            const Way expected = chains.Plain(start, from, limit, most);
            const Way way = walker.Walk(chains, block, start, from, limit, most);
            ASSERT_EQ(way.to, expected.to) << round << ", " << start;
            ASSERT_EQ(way.isEnd, expected.isEnd) << round << ", " << start;
            ASSERT_EQ(way.facts.records, expected.facts.records) << round << ", " << start;
            ASSERT_EQ(way.facts.firstOdd, expected.facts.firstOdd) << round << ", " << start;
        }
    }
}

// Candidates in every other sector, each of which leads into one of three chains that never meet. The sectors between
// them are left out.
TEST(Trail, ManyWalksReadLittleMoreThanOne) {
    constexpr std::int64_t bytes = 4 << 20;
    for (const std::int64_t limit : {std::int64_t{1} << 40, bytes / 4}) {
        for (const std::int64_t length : {60, 1000, 20000}) {
            Chains chains{std::vector<std::int64_t>(bytes, length)};
            Walker walker;
            const SectorBlock block = walker.Enter(0, 1);
            for (std::int64_t start = 0; start < bytes; start += 2 * SectorSize) {
                walker.Enter(start / SectorSize, 1);
                walker.Walk(chains, block, start, (length - start % length) % length + start / SectorSize % 3, limit);
            }
            // Alone, each of them would read half a chain, or a quarter: thousands of times as much.
            EXPECT_LT(chains.reads, 12 * 3 * (bytes / length)) << length;
        }
    }
}

}  // namespace
