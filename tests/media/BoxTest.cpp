#include <gtest/gtest.h>

#include <algorithm>

#include "frame/read/KFileSimulator.h"
#include "tests/support/BoxBytes.h"
#include "tests/support/SparseMedium.h"

namespace {

using namespace test::box;
using namespace test;

constexpr std::int32_t Mov = FileTypeIndex::Mov;
constexpr std::int32_t ThreeGp = FileTypeIndex::ThreeGp;
constexpr std::int32_t M4a = FileTypeIndex::M4a;
constexpr std::int32_t M4v = FileTypeIndex::M4v;
constexpr std::int32_t Mp4 = FileTypeIndex::Mp4;
constexpr std::int64_t GiB = std::int64_t{1} << 30;

Bytes Start(const char* brand, std::uint32_t size = 16) {
    return Join({Header(size, "ftyp"), BytesOf(brand), Zeros(4)});
}

// The file in sector 1, on a medium of 20 sectors.
struct FileMedium : Medium {
    explicit FileMedium(const Bytes& file, std::int32_t sectorSize = 512) : Medium(sectorSize) {
        Put(1, file).Grow(20);
    }
};

TEST(Boxes, EveryBrandHasItsOwners) {
    const struct {
        const char* brand;
        std::vector<std::int32_t> owners;
    } cases[] = {{"qt  ", {Mov}},     {"mqt ", {Mov}},     {"QT  ", {}},    {"3gp4", {ThreeGp}}, {"3GP4", {ThreeGp}},
                 {"kddi", {ThreeGp}}, {"MMP4", {ThreeGp}}, {"3gx4", {Mp4}}, {"M4A ", {M4a}},     {"m4a ", {}},
                 {"M4V ", {M4v}},     {"m4v ", {}},        {"isom", {Mp4}}, {"crx ", {}},        {"CRX ", {Mp4}},
                 {"M4B ", {Mp4}},     {"\xE9 qt", {Mp4}},  {"mp42", {Mp4}}};
    for (const auto& tested : cases) {
        FileMedium medium(Join({Start(tested.brand), Box(900, "moov"), Box(100, "free")}));
        for (const std::int32_t index : {Mov, ThreeGp, M4a, M4v, Mp4}) {
            const bool owns = std::ranges::find(tested.owners, index) != tested.owners.end();
            EXPECT_EQ(Scan(index, medium), owns ? (Finds{{1, 1016}}) : Finds{}) << tested.brand << ", " << index;
        }
    }
}

TEST(Boxes, WalksEndWhereTheBoxesDo) {
    constexpr std::int64_t mediumBytes = std::int64_t{20} * 512;
    const struct {
        const char* what;
        Bytes boxes;
        // After the first box; 0 for no find.
        std::int64_t mov;
        std::int64_t mp4;
    } cases[] = {
        {"an unknown box", Join({Box(600, "moov"), Box(100, "abcd"), Box(100, "mdat")}), 600, 600},
        {"letter case counts", Join({Box(600, "moov"), Box(100, "FREE")}), 600, 600},
        {"no main box", Join({Box(600, "free"), Box(100, "skip"), Bytes(100, 'x')}), 0, 0},
        {"a user's data", Join({Box(600, "uuid"), Box(100, "free")}), 0, 700},
        {"fragments", Join({Box(600, "moov"), Box(80, "sidx"), Box(90, "moof"), Box(100, "mdat")}), 600, 870},
        {"another file behind", Join({Box(500, "moov"), Start("isom"), Box(496, "mdat")}), 500, 1012},
        {"open to the end", Join({Box(600, "moov"), Header(0, "mdat"), Bytes(900, 'x')}), 600, 600},
        {"a long size", Join({LongHeader(600, "mdat"), Zeros(584), Box(100, "moov")}), 700, 700},
        {"a long size of 0", Join({Box(600, "moov"), LongHeader(0, "mdat")}), 600, 600},
        {"a long size that leads back", Join({Box(600, "moov"), LongHeader(~std::uint64_t{0} - 99, "mdat")}), 0, 0},
        {"a long size that wraps", Join({Box(600, "moov"), LongHeader(0x7FFFFFFFFFFFFFFF, "mdat")}), 0, 0},
        {"a long size of an unknown box", Join({Box(600, "moov"), LongHeader(~std::uint64_t{0}, "abcd")}), 600, 600},
        {"beyond the medium", Join({Box(600, "moov"), Header(20000, "mdat")}), 20600, mediumBytes - 16},
        {"far beyond", Join({Box(600, "moov"), LongHeader(0x4000000000000000, "mdat")}), 0x4000000000000258,
         mediumBytes - 16},
        // The box after one of 5 bytes begins in its header, with a size of four letters.
        {"smaller than its header", Join({Header(5, "moov"), BytesOf("free")}), 5, 5},
    };
    for (const auto& tested : cases) {
        for (const auto& [index, brand, size] : {std::tuple{Mov, "qt  ", tested.mov},
                                                 {M4v, "M4V ", tested.mov},
                                                 {Mp4, "isom", tested.mp4},
                                                 {ThreeGp, "3gp5", tested.mp4}}) {
            FileMedium medium(Join({Start(brand), tested.boxes}));
            const Finds expected = size == 0 ? Finds{} : Finds{{1, size + 16}};
            EXPECT_EQ(ScanAtEverySplit(index, medium), expected) << tested.what << ", " << index;
            EXPECT_EQ(Scan(index, medium, 0, 300), expected) << "the cap is not asked";
        }
    }
}

TEST(Boxes, TheFirstBoxNeedsASizeAndASectorOf512Bytes) {
    const Bytes boxes = Join({Box(900, "moov"), Box(100, "mdat")});
    for (const std::int32_t sectorSize : {256, 511, 512, 4096}) {
        FileMedium medium(Join({Start("isom"), boxes}), sectorSize);
        EXPECT_EQ(Scan(Mp4, medium), sectorSize < 512 ? Finds{} : (Finds{{1, 1016}})) << sectorSize;
    }
    for (const std::uint32_t size : {0U, 0xFFFFFFFFU}) {
        FileMedium medium(Join({Start("isom", size), boxes}));
        EXPECT_EQ(Scan(Mp4, medium), Finds{}) << size;
    }
}

TEST(Boxes, LongBoxesAndTheCeiling) {
    const Bytes small = Box(100, "moov");
    const auto longBox = [](const char* brand) {
        return Join({Start(brand), LongHeader(5 * GiB, "mdat")});
    };
    SparseMedium films(200 * GiB);
    films.Put(0, longBox("isom")).Put(512, longBox("qt  ")).Put(1024, longBox("M4A "));
    films.Put(5 * GiB + 16, small).Put(5 * GiB + 512 + 16, small);
    EXPECT_EQ(films.ScanStart(Mp4, 3), (Finds{{0, 5 * GiB + 116}}));
    EXPECT_EQ(films.ScanStart(Mov, 3), (Finds{{1, 5 * GiB + 116}}));
    EXPECT_EQ(films.ScanStart(M4a, 3), (Finds{{2, 0}})) << "a second box of a long size counts 1";

    const Bytes last = LongHeader(2 * GiB, "free");
    for (const auto& [index, brand, size] : {std::tuple{Mp4, "isom", 128 * GiB}, {Mov, "qt  ", 129 * GiB + 116}}) {
        SparseMedium huge(200 * GiB);
        huge.Put(0, Join({Start(brand), Box(100, "moov"), LongHeader(127 * GiB, "mdat")}));
        huge.Put(127 * GiB + 116, last).Put(129 * GiB + 116, last);
        EXPECT_EQ(huge.ScanStart(index), (Finds{{0, size}}));
    }
}

TEST(Boxes, AudioIsFourBoxesThatAreNotWalked) {
    const Bytes behind = Box(100, "free");
    const struct {
        const char* what;
        Bytes boxes;
        Finds finds;
    } cases[] = {
        {"four", Join({Box(500, "moov"), Box(300, "moof"), Box(200, "mdat"), behind}), {{1, 1016}}},
        {"three", Join({Box(500, "free"), Box(300, "moov"), BytesOf("abcdefgh")}), {{1, 700}}},
        {"two", Join({Box(800, "mdat"), Box(300, "skip")}), {{1, 700}}},
        {"one", Join({Box(800, "skip"), Box(300, "mdat")}), {}},
        {"512 bytes count", Join({Box(496, "moov"), BytesOf("abcdefgh")}), {{1, 512}}},
        {"511 bytes do not", Join({Box(495, "moov"), BytesOf("abcdefgh")}), {{1, 0}}},
        {"the lower half of a long size",
         Join({Box(500, "moov"), LongHeader(0x700000000 + 300, "mdat"), Zeros(284), Box(200, "free")}),
         {{1, 1016}}},
        {"any size below 8 is long",
         Join({Box(500, "moov"), Header(7, "mdat"), Big(300, 8), Zeros(284), behind}),
         {{1, 916}}},
        {"only that of the media", Join({Box(500, "moov"), Header(7, "free"), Big(300, 8)}), {{1, 523}}},
        {"the last box counts whole",
         Join({Box(500, "moov"), Box(300, "free"), Header(0xFFFFFFFF, "mdat")}),
         {{1, 816 + 0xFFFFFFFFLL}}},
    };
    for (const auto& tested : cases) {
        FileMedium medium(Join({Start("M4A "), tested.boxes}));
        EXPECT_EQ(Scan(M4a, medium, 0, 700), tested.finds) << tested.what;
    }
    // A file whose end is not found is reported with the size of the previous one in the same block.
    FileMedium medium(Join({Start("M4A "), Box(500, "moov")}));
    medium.Put(4, Join({Start("M4A "), Box(100, "moov")})).Put(6, Join({Start("M4A "), Box(100, "skip")}));
    EXPECT_EQ(Scan(M4a, medium), (Finds{{1, 516}, {4, 516}}));
    EXPECT_EQ(Scan(M4a, medium, 2), (Finds{{1, 516}, {4, 0}}));
}

TEST(Boxes, AHeaderThatCannotBeReadIsTheOneBefore) {
    // Only reads up to the end of a sector need no cache, which a sector of 64 KiB does not fit.
    constexpr std::int32_t sectorSize = 65536;
    // In steps of 1000 bytes to the first place at or after the limit.
    constexpr std::int64_t steps = (5 * sectorSize + 8 + 999) / 1000;
    for (const auto& [index, brand, size] :
         {std::tuple{Mov, "qt  ", sectorSize - 8 + steps * 1000}, {Mp4, "isom", std::int64_t{6} * sectorSize}}) {
        SparseMedium medium(std::int64_t{6} * sectorSize, sectorSize);
        medium.Put(0, Start(brand, sectorSize - 8)).Put(sectorSize - 8, Header(1000, "moov"));
        EXPECT_EQ(medium.ScanStart(index), (Finds{{0, size}}));
    }
    SparseMedium huge(200 * GiB, sectorSize);
    huge.Put(0, Start("isom", sectorSize - 8)).Put(sectorSize - 8, Header(8, "moov"));
    EXPECT_EQ(huge.ScanStart(Mp4), Finds{}) << "2^34 steps lead to the limit";
}

// 61 rows of boxes in every sector, each of which fills the reader's cache for every box, and candidates that each lead
// into a row of their own: together they would read the medium some 3900 times.
TEST(Boxes, RowsWithoutNumberAreNotReadToTheirEnds) {
    constexpr std::int64_t sectors = 16384;
    Medium medium;
    for (std::int64_t sector = 0; sector < sectors; ++sector) {
        Bytes bytes = Start("isom", static_cast<std::uint32_t>(16 + 8 * (sector / 64 % 61)));
        while (bytes.size() < 16 + 8 * 61) {
            bytes = Join({bytes, Header(32768, "free")});
        }
        medium.Put(sector, bytes).Grow(sector + 1);
    }
    medium.Grow(2 * sectors).Put(2 * sectors, Join({Start("isom"), Box(900, "moov")}));
    EXPECT_EQ(Scan(Mp4, medium, 2048), (Finds{{2 * sectors, 916}}));
    const std::int64_t bytesRead = static_cast<std::int64_t>(medium.requests.size()) * KFileSimulator::CacheBytes;
    EXPECT_LT(bytesRead, Budget::MostBytes + sectors * (512 * Budget::RefillFactor + KFileSimulator::CacheBytes));
}

}  // namespace
