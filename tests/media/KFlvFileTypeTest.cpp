#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <limits>
#include <string>

#include "tests/support/Scan.h"

namespace {

using namespace std::string_literals;
using namespace test;

constexpr std::int32_t Flv = FileTypeIndex::Flv;
const std::string Key = "\x08\x66ilesize\0"s;

std::string Flash(std::uint32_t tagBytes, char tagType = '\x12') {
    return "FLV\1\5\0\0\0\x09\0\0\0\0"s + tagType + static_cast<char>(tagBytes >> 16U) +
           static_cast<char>(tagBytes >> 8U) + static_cast<char>(tagBytes) + std::string(7, '\0');
}

std::string Number(double value) {
    const auto bits = std::bit_cast<std::uint64_t>(value);
    std::string text;
    for (unsigned shift = 64; shift > 0; shift -= 8) {
        text.push_back(static_cast<char>(bits >> (shift - 8)));
    }
    return text;
}

Finds ScanText(const std::string& file) {
    Medium medium;
    medium.Put(2, file).Grow(12);
    return ScanAtEverySplit(Flv, medium);
}

TEST(FlashVideo, TheFirstFilesizeOfTheScriptDataIsTheSize) {
    const auto sized = [](double size) {
        return Flash(1000) + "\2\0\12onMetaData\0"s + Key + Number(size);
    };
    const std::pair<double, std::int64_t> sizes[] = {{12345.9, 12345},
                                                     {-7.5, -7},
                                                     {0, 0},
                                                     {1e15, 1000000000000000},
                                                     {-0x1p63, std::numeric_limits<std::int64_t>::min()}};
    for (const auto& [number, size] : sizes) {
        EXPECT_EQ(ScanText(sized(number)), (Finds{{2, size}})) << number;
    }
    for (const double number : {0x1p63, -0x1.0000000000001p63, HUGE_VAL, -HUGE_VAL, std::nan("")}) {
        EXPECT_EQ(ScanText(sized(number)), Finds{}) << number;
    }
    EXPECT_EQ(ScanText(sized(5) + Key + Number(6)), (Finds{{2, 5}}));
    EXPECT_EQ(ScanText(sized(std::nan("")) + Key + Number(6)), Finds{});
    const std::string padding(100, 'x');
    EXPECT_EQ(ScanText(Flash(118) + padding + Key + Number(9)), (Finds{{2, 9}}));
    EXPECT_EQ(ScanText(Flash(117) + padding + Key + Number(9)), Finds{}) << "the number reaches out of the tag";
    EXPECT_EQ(ScanText(Flash(1000, 8) + Key + Number(9)), Finds{});
    EXPECT_EQ(ScanText(Flash(0) + Key + Number(9)), Finds{});
    EXPECT_EQ(ScanText(Flash(1000) + "\x08\x46ilesize\0"s + Number(9)), Finds{});
}

TEST(FlashVideo, AKeyAcrossTwoOfThePiecesReadIsSeen) {
    for (std::size_t key = 32768 - Key.size(); key <= 32768; ++key) {
        const std::string head = Flash(40000);
        Medium medium;
        medium.Put(0, head + std::string(key - head.size(), '\x08') + Key + Number(77)).Grow(100);
        EXPECT_EQ(Scan(Flv, medium, 16), (Finds{{0, 77}})) << key;
    }
}

// The reader cannot read part of such a sector, so neither the partly used last sector of a tag nor the next block is
// searched.
TEST(FlashVideo, SectorsLargerThanAPieceAreSearched) {
    constexpr std::size_t sectorSize = 40960;
    const auto scan = [](std::size_t tagBytes, std::size_t key, std::int64_t blockSectors) {
        const std::string head = Flash(static_cast<std::uint32_t>(tagBytes));
        Medium medium(static_cast<std::int32_t>(sectorSize));
        medium.Put(1, head + std::string(key - head.size(), '\x08') + Key + Number(77)).Grow(5);
        return Scan(Flv, medium, blockSectors);
    };
    const Finds found{{1, 77}};
    for (const std::size_t key : {std::size_t{24}, std::size_t{32765}, sectorSize - 18}) {
        EXPECT_EQ(scan(sectorSize, key, 1), found) << key;
        EXPECT_EQ(scan(sectorSize - 24 - 1, key, 5), Finds{}) << key;
    }
    EXPECT_EQ(scan(2 * sectorSize, sectorSize - 4, 5), found);
    EXPECT_EQ(scan(2 * sectorSize, sectorSize - 4, 2), Finds{});
    EXPECT_EQ(scan(2 * sectorSize, 2 * sectorSize - 17, 5), Finds{});
}

// Heads whose tags reach over one another and over keys that stand anywhere.
TEST(FlashVideo, IsFoundAsIfEveryTagWereReadWhole) {
    Noise noise(5);
    std::size_t finds = 0;
    for (int round = 0; round < 60; ++round) {
        Medium medium;
        medium.Grow(400);
        std::string bytes(medium.Data().size(), '\0');
        for (std::uint64_t keys = noise.Below(12); keys > 0; --keys) {
            const std::string key = Key + Number(static_cast<double>(keys));
            bytes.replace(noise.Below(bytes.size() - 30), noise.Below(4) == 0 ? Key.size() : key.size(), key);
        }
        bytes.resize(medium.Data().size());
        for (std::uint64_t heads = noise.Below(200); heads > 0; --heads) {
            const std::string head =
                Flash(static_cast<std::uint32_t>(noise.Below(std::uint64_t{1} << noise.Below(20))));
            bytes.replace(noise.Below(400) * 512, head.size(), head);
        }
        medium.Put(0, bytes);

        const TypePtr type = CreateType(Flv);
        const Finds expected = ScanAlone(*type, medium);
        ASSERT_EQ(Scan(*type, medium, RandomBlocks(medium, noise)), expected) << "round " << round;
        finds += expected.size();
    }
    EXPECT_GT(finds, 300U);
}

}  // namespace
