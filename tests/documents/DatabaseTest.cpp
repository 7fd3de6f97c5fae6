#include <gtest/gtest.h>

#include "documents/Rc4.h"
#include "tests/support/DatabaseBuilder.h"
#include "tests/support/HelpBuilder.h"
#include "tests/support/Numbers.h"
#include "tests/support/SparseMedium.h"

namespace {

using namespace test;

TEST(Rc4, GivesTheKnownKeyStream) {
    Rc4 cipher(BytesOf("Wiki"));
    Bytes text = BytesOf("pedia");
    for (std::uint8_t& byte : text) {
        byte ^= cipher.Next();
    }
    EXPECT_EQ(text, (Bytes{0x10, 0x21, 0xBF, 0x04, 0x20}));
}

// The file between noise; the size found, or 0.
std::int64_t SizeFound(std::int32_t index, const Bytes& file) {
    Noise noise(file.size());
    Medium medium(512, Join({noise.Random(512), file, noise.Random(64 * 512)}));
    const Finds finds = Scan(index, medium);
    EXPECT_LE(finds.size(), 1U);
    return finds.empty() ? 0 : finds[0].size;
}

TEST(Access, TheMapOfFreePagesAndThePagesTellTheEnd) {
    const struct {
        const char* what;
        JetPlan plan;
        std::int64_t pages;
    } cases[] = {
        {"smallest", {.version = 0, .pages = 10, .lastUsed = 9}, 10},
        {"too small", {.version = 0, .pages = 9, .lastUsed = 8}, 0},
        {"Jet 4", {.version = 1, .pages = 20, .lastUsed = 19}, 20},
        {"ACE", {.version = 6, .pages = 20, .lastUsed = 19}, 20},
        {"map of pages of bits, Jet 3", {.version = 0, .pages = 12, .lastUsed = 11, .inlineBits = 0}, 12},
        {"map of pages of bits, ACE", {.version = 2, .pages = 12, .lastUsed = 11, .inlineBits = 0}, 12},
        {"encrypted", {.version = 1, .pages = 12, .lastUsed = 11, .inlineBits = 0, .key = 0x1020304}, 12},
        {"freed pages behind", {.version = 0, .pages = 33, .lastUsed = 20, .inlineBits = 512}, 33},
        {"no more than 64 of them", {.version = 0, .pages = 120, .lastUsed = 20, .inlineBits = 512}, 85},
        {"freed and encrypted", {.version = 1, .pages = 14, .lastUsed = 11, .key = 77}, 14},
        {"map beyond the file", {.version = 1, .pages = 20, .lastUsed = 40}, 20},
        {"map without a free page", {.version = 0, .pages = 150, .lastUsed = 63}, 150},
    };
    for (const auto& tested : cases) {
        EXPECT_EQ(SizeFound(71, JetFile(tested.plan)),
                  tested.pages * static_cast<std::int64_t>(tested.plan.PageBytes()))
            << tested.what;
    }
}

TEST(Access, ZeroPagesCountBetweenPagesOfAFileThatOutgrewItsMap) {
    Bytes file = JetFile({.pages = 100, .lastUsed = 63});
    std::fill_n(file.begin() + 60 * 2048, 30 * 2048, std::uint8_t{0});
    EXPECT_EQ(SizeFound(71, Join({file, Zeros(2048)})), 100 * 2048);
    file[2 * 2048 - 8] = 0x80;  // Page 7 is free, the last one of the map still in use.
    EXPECT_EQ(SizeFound(71, file), 100 * 2048);
    // The last page that the map covers may be zeros; without a map it may not.
    file = JetFile({.pages = 15, .lastUsed = 14});
    std::fill_n(file.begin() + 14 * 2048, 2048, std::uint8_t{0});
    EXPECT_EQ(SizeFound(71, file), 15 * 2048);
    file[2 * 2048 - 13] = 2;  // The map's type.
    EXPECT_EQ(SizeFound(71, file), 14 * 2048);
    file[2048] = 2;
    EXPECT_EQ(SizeFound(71, file), 0) << "the map's page is no data page";
}

TEST(Access, MapsOfPagesFarAwayAreNotFollowed) {
    Bytes file = JetFile({.pages = 12, .lastUsed = 11});
    PutNumber(file, 2 * 2048 - 12, 0xFFFFFFF0, 4);  // The map's first page.
    EXPECT_EQ(SizeFound(71, file), 0);
    file = JetFile({.pages = 12, .lastUsed = 11, .inlineBits = 0});
    file[5 * 2048] = 4;  // This is no longer a page of bits: the file has no map.
    EXPECT_EQ(SizeFound(71, file), 12 * 2048);
}

TEST(SqlServer, TheFileHeaderGrowsToWhatIsInUse) {
    const struct {
        const char* what;
        DataFilePlan plan;
        std::int64_t pages;
    } cases[] = {
        {"as stated", {.pages = 40, .extentsInUse = 3}, 40},
        {"grown by pages", {.pages = 24, .growth = 10, .extentsInUse = 6}, 54},
        {"grown by nothing", {.pages = 24, .growth = 0, .extentsInUse = 6}, 48},
        {"by more than a file may have", {.pages = 24, .growth = 0xFFFFFFFF, .extentsInUse = 6}, 48},
        {"by less than an extent", {.pages = 24, .growth = 10, .growsByPercentage = true, .extentsInUse = 4}, 32},
        {"half an extent to the even",
         {.pages = 200, .growth = 10, .growsByPercentage = true, .extentsInUse = 26},
         216},
        {"half an extent to the even",
         {.pages = 120, .growth = 10, .growsByPercentage = true, .extentsInUse = 16},
         136},
        {"the header does not parse", {.pages = 23, .extentsInUse = 7}, 56},
        {"secondary file", {.pages = 24, .fileId = 3, .extentsInUse = 3}, 24},
        {"torn-page marks", {.pages = 24, .growth = 0, .extentsInUse = 6633, .hasTornPageMarks = true}, 53064},
    };
    for (const auto& tested : cases) {
        EXPECT_EQ(SizeFound(72, DataFile(tested.plan)), tested.pages * std::int64_t{DataFilePage}) << tested.what;
    }
}

TEST(SqlServer, NeedsItsFirstPages) {
    for (const auto& [offset, value] : std::initializer_list<std::pair<std::size_t, std::uint8_t>>{
             {8, 1}, {21, 1}, {24, 98}, {31, 0x20}, {36, 2}, {DataFilePage + 1, 1}, {2 * DataFilePage + 32, 3}}) {
        Bytes file = DataFile({});
        file[offset] = value;
        EXPECT_EQ(SizeFound(72, file), 0) << offset;
    }
}

TEST(SqlServer, LargeFilesHaveMoreMaps) {
    constexpr std::int64_t mapPages = 511232;
    const Bytes start = DataFile({.pages = 24, .growth = 0, .extentsInUse = 63904});
    SparseMedium medium(mapPages * 3 * std::int64_t{DataFilePage});
    medium.Put(0, start);
    medium.Put(mapPages * std::int64_t{DataFilePage}, ExtentMapPage(mapPages, 5));
    EXPECT_EQ(medium.ScanStart(FileTypeIndex::Mdf), (Finds{{0, (mapPages + 40) * std::int64_t{DataFilePage}}}));
    medium.Put(mapPages * std::int64_t{DataFilePage}, ExtentMapPage(mapPages + 1, 5));
    EXPECT_EQ(medium.ScanStart(FileTypeIndex::Mdf), (Finds{{0, mapPages * std::int64_t{DataFilePage}}}));
}

}  // namespace
