#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "host/medium/medium.h"
#include "host/validate/cluster_grid.h"
#include "host/validators/text/text_starts.h"
#include "tests/host/TestFiles.h"

namespace salvor {

namespace {

using namespace std::string_literals;

ByteSpan BytesOf(std::string_view text) { return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()}; }

std::string Padded(std::string text, char padding) {
    text.resize(512, padding);
    return text;
}

bool Begins(const std::string& before, const std::string& sector) {
    return MayBeginText(BytesOf(before), BytesOf(sector));
}

}  // namespace

TEST(TextStarts, AreSeenByTheBytesOnBothSides) {
    const std::string zeros(64, '\0');
    const std::string prose = Padded("The first line\nof a text", 'e');
    const std::string letter = Padded("Subject: Tea\r\nDate: Mon\r\n\r\nAt five", '\0');
    const std::string inLine = std::string(63, 'e') + "f";
    const std::string afterLine = std::string(63, 'e') + "\n";

    EXPECT_TRUE(Begins("", prose));
    EXPECT_TRUE(Begins(zeros, prose));
    EXPECT_TRUE(Begins(std::string(63, 'e') + "\x80", prose));
    EXPECT_FALSE(Begins(inLine, prose));
    EXPECT_FALSE(Begins(afterLine, prose));
    EXPECT_FALSE(Begins(zeros, Padded("Few letters in front of others", '\x01')));
    EXPECT_TRUE(Begins(zeros, Padded("Few letters in front of zeros", '\0')));
    EXPECT_FALSE(Begins(zeros, Padded("Few letters, zeros", '\0').substr(1) + "\x01"));

    EXPECT_TRUE(Begins(zeros, Padded("typing\n\xC3", '\x0F')));
    EXPECT_FALSE(Begins(zeros, Padded("type\n\xC3", '\x0F')));

    EXPECT_TRUE(Begins(inLine, Padded("<!doctype html>", ' ')));
    EXPECT_FALSE(Begins(afterLine, Padded("<!doctype html>", ' ')));
    EXPECT_TRUE(Begins(inLine, Padded("BEGIN:VCARD\n", ' ')));
    EXPECT_FALSE(Begins(inLine, Padded("BEGIN:TEXT\n", ' ')));
    // A comment of several lines at the margin, but neither one behind code nor the rest of a row.
    EXPECT_TRUE(Begins(inLine, Padded("/*\n * What it does\n", ' ')));
    EXPECT_TRUE(Begins(inLine + "x", Padded("# What\n# it does\n", ' ')));
    EXPECT_FALSE(Begins(inLine + " ", Padded("# What\n# it does\n", ' ')));
    EXPECT_FALSE(Begins(inLine + "#", Padded("# What\n# it does\n", ' ')));
    EXPECT_FALSE(Begins(inLine + "x", Padded("# What\n  # it does\n", ' ')));
    EXPECT_TRUE(Begins(inLine, letter));
    EXPECT_FALSE(Begins(inLine + "\n> ", letter));
}

TEST(TextStarts, AreSeenInOtherAlphabets) {
    const std::string zeros(64, '\0');
    std::string greek;
    std::string wide = "\xFF\xFE";
    std::string codePage;
    while (codePage.size() < 512) {
        greek += "\xCE\xB1\xCE\xB2 ";
        wide += "a\0b\0"s;
        codePage += "\xE0\xE1\xE2 ";
    }
    EXPECT_TRUE(Begins(zeros, greek));
    EXPECT_FALSE(Begins(greek.substr(0, 64), greek.substr(64)));
    EXPECT_TRUE(Begins(zeros, wide));
    EXPECT_FALSE(Begins(zeros, "\xFE\xFF\x00\x01"s + wide));
    EXPECT_TRUE(Begins(zeros, wide.substr(2)));
    EXPECT_FALSE(Begins(wide.substr(2, 64), wide.substr(2)));
    EXPECT_TRUE(Begins(zeros, codePage));
    EXPECT_FALSE(Begins(codePage.substr(0, 64), codePage));
    // A program's string and a table after it, which do not count as continued text.
    codePage.replace(100, 1, "\n").replace(200, 1, "\n");
    EXPECT_TRUE(Begins(std::string(40, '\0') + "cannot find the source", codePage));
    std::string table;
    while (table.size() < 64) {
        table += "\xA2y\xFF\xFF";
    }
    EXPECT_TRUE(Begins(table, codePage));
}

TEST(ClusterGrid, IsTheLargestThatNearlyAllStartsShare) {
    std::vector<std::int64_t> starts;
    for (std::int64_t i = 0; i < 40; ++i) {
        starts.push_back(3 + 8 * (i * i + i % 3));
    }
    const ClusterGrid grid = FindClusterGrid(starts, 512);
    EXPECT_EQ(grid.sectorsPerCluster, 8);
    EXPECT_TRUE(grid.Holds(11));
    EXPECT_FALSE(grid.Holds(12));

    starts.insert(starts.end(), {4, 13, 22});
    EXPECT_EQ(FindClusterGrid(starts, 512).sectorsPerCluster, 8);
    starts.insert(starts.end(), {30, 32, 34, 36});
    EXPECT_EQ(FindClusterGrid(starts, 512).sectorsPerCluster, 1);
    EXPECT_EQ(FindClusterGrid(std::span(starts).first(7), 512).sectorsPerCluster, 1);

    // One file in twenty begins off the grid on which the others begin.
    starts.clear();
    for (std::int64_t i = 0; i < 60; ++i) {
        starts.push_back(64 * i + (i % 20 == 7 ? 8 : 0));
    }
    EXPECT_EQ(FindClusterGrid(starts, 512).sectorsPerCluster, 8);
}

TEST(ClusterGrid, ShowsWhetherLastClustersEndInZeros) {
    std::vector<std::int64_t> ends;
    test::Bytes image(16 * 4096);
    for (std::int64_t i = 0; i < 16; ++i) {
        ends.push_back(i * 4096 + 100 + 200 * i);
        std::fill_n(image.begin() + i * 4096, 100 + 200 * i, std::uint8_t{1});
    }
    const auto isClean = [&] {
        Medium medium(std::make_unique<test::FakeDevice>(image), 512);
        return IsSlackClean(medium, ends, ClusterGrids({{{0, 128}, {8, 0}}}, {}, 512));
    };
    EXPECT_TRUE(isClean());
    for (std::size_t cluster : {3U, 5U, 8U}) {
        image[cluster * 4096 - 1] = 1;
    }
    EXPECT_FALSE(isClean());
}

}  // namespace salvor
