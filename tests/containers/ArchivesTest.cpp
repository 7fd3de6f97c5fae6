#include <gtest/gtest.h>

#include <string>

#include "containers/KBckFileType.h"
#include "tests/support/Numbers.h"
#include "tests/support/Scan.h"

namespace {

using namespace std::string_literals;
using namespace test;

Finds ScanHeader(std::int32_t index, const Bytes& header, std::int32_t sectorSize = 512, std::int64_t maxSize = 0) {
    Medium medium(sectorSize);
    medium.Put(4, header);
    return Scan(index, medium, 0, maxSize);
}

Bytes SevenZip(std::uint32_t nextOffset, std::uint32_t nextSize) {
    return Join({BytesOf("7z\xBC\xAF\x27\x1C"), Zeros(6), Little(nextOffset), Little(9, 4), Little(nextSize)});
}
Bytes Cabinet(std::uint32_t size) { return Join({BytesOf("MSCF"), Little(1, 4), Little(size)}); }

TEST(Archives, SizesFromTheHeaderAreSigned32BitNumbers) {
    const struct {
        std::int32_t index;
        Bytes header;
        std::int64_t size;
    } cases[] = {{FileTypeIndex::SevenZip, SevenZip(100, 123), 0},
                 {FileTypeIndex::SevenZip, SevenZip(100, 124), 256},
                 {FileTypeIndex::SevenZip, SevenZip(0x2000000, 1), 0x2000000},
                 {FileTypeIndex::SevenZip, SevenZip(0x7FFFFFFF, 1), 0},
                 {FileTypeIndex::SevenZip, SevenZip(0xFFFFFFFF, 1000), 1031},
                 {FileTypeIndex::Cab, Cabinet(0), 0},
                 {FileTypeIndex::Cab, Cabinet(255), 0},
                 {FileTypeIndex::Cab, Cabinet(256), 256},
                 {FileTypeIndex::Cab, Cabinet(0x7FFFFFFF), 0x7FFFFFFF},
                 {FileTypeIndex::Cab, Cabinet(0x80000000), 0}};
    for (const auto& tested : cases) {
        EXPECT_EQ(ScanHeader(tested.index, tested.header), tested.size == 0 ? Finds{} : (Finds{{4, tested.size}}))
            << tested.index << ", " << tested.size;
    }
    EXPECT_EQ(ScanHeader(FileTypeIndex::SevenZip, SevenZip(0x2000000, 1), 512, 0x7FFFFFFF), (Finds{{4, 0x2000021}}));
}

TEST(Archives, SmallSectorsHoldWholeHeadersOrTheBlockDoes) {
    for (const std::int32_t index : {68, 70}) {
        const Bytes header = index == FileTypeIndex::SevenZip ? SevenZip(1000, 24) : Cabinet(1056);
        EXPECT_EQ(ScanHeader(index, header, 16), Finds{}) << index;
        EXPECT_EQ(ScanHeader(index, header, 17), (Finds{{4, 1056}})) << index;
    }
    Medium medium(17);
    medium.Put(0, SevenZip(1000, 24));
    EXPECT_EQ(Scan(FileTypeIndex::SevenZip, medium, 1), Finds{}) << "the block ends in the header";
}

TEST(Archives, RarRunsToItsEndBlock) {
    const Bytes start = BytesOf("Rar!\x1A\x07\0\xCF"s);
    const Bytes end = BytesOf("\xC4\x3D\x7B\0\x40\x07\0"s);
    for (const std::size_t offset : {248U, 249U, 504U, 505U}) {
        Medium medium;
        medium.Put(2, start).Put(5, end).Grow(8);
        std::ranges::copy(end, medium.Data().begin() + 2 * 512 + static_cast<std::ptrdiff_t>(offset));
        const Finds expected = offset == 248   ? Finds{}
                               : offset == 505 ? Finds{{2, 3 * 512 + 7}}
                                               : Finds{{2, static_cast<std::int64_t>(offset) + 7}};
        EXPECT_EQ(ScanAtEverySplit(FileTypeIndex::Rar, medium), expected) << offset;
    }
    Medium noEnd(256);
    noEnd.Put(0, start).Put(3, start).Put(5, BytesOf("Rar!\x1A\x07\0\xCE"s)).Put(6, BytesOf("Rar!\x1A\x07\x01\0"s));
    EXPECT_EQ(ScanAtEverySplit(FileTypeIndex::Rar, noEnd), (Finds{{0, 3 * 256}}));
    EXPECT_EQ(Scan(FileTypeIndex::Rar, noEnd, 0, 500), (Finds{{0, 500}}));
}

Bytes Catalogue(const std::string& first, const std::string& second) {
    return Join({Little(static_cast<std::uint32_t>(first.size())), BytesOf(first), Zeros(8),
                 Little(static_cast<std::uint32_t>(second.size())), BytesOf(second)});
}

Finds ScanCatalogue(const Bytes& header, std::int32_t sectorSize = 512, std::int64_t sectors = 3) {
    Medium medium(sectorSize);
    medium.Put(1, header).Grow(sectors);
    KBckFileType type;
    return Scan(type, medium);
}

TEST(Archives, BackupCataloguesAreKnownByTheirTwoTexts) {
    const Finds found{{1, 0}};
    EXPECT_EQ(ScanCatalogue(Catalogue("c", "a.DaT")), found);
    EXPECT_EQ(ScanCatalogue(Catalogue("c", ".dat")), found);
    EXPECT_EQ(ScanCatalogue(Catalogue("c", "a.dat"), 511), Finds{});
    const std::string longText(255, '~');
    EXPECT_EQ(ScanCatalogue(Catalogue(longText, std::string(241, ' ') + ".dat")), found);
    EXPECT_EQ(ScanCatalogue(Catalogue(longText, std::string(242, ' ') + ".dat")), Finds{});
    // The longest texts reach four bytes into the next sector, if the block has one.
    EXPECT_EQ(ScanCatalogue(Catalogue("c", std::string(495, 'x') + ".dat"), 512, 3), found);
    Medium last;
    last.Put(0, Catalogue("c", std::string(495, 'x') + ".dat"));
    KBckFileType type;
    EXPECT_EQ(Scan(type, last, 1), Finds{});

    for (const Bytes& header :
         {Catalogue("", "a.dat"), Catalogue(longText + "x", "a.dat"), Catalogue("\x1F", "a.dat"),
          Catalogue("\x7F", "a.dat"), Catalogue("c", "\n.dat"), Catalogue("c", "a.dax"), Catalogue("c", "dat"),
          Join({Little(1, 4), BytesOf("c"), Zeros(8), Little(0xFFFFFFFE), BytesOf("aaaa.dat")})}) {
        EXPECT_EQ(ScanCatalogue(header), Finds{});
    }
    std::array<std::int64_t, 2> range{};
    EXPECT_EQ(type.QueryInfo(0, range.data(), 16), 0);
    EXPECT_EQ(range, (std::array<std::int64_t, 2>{10240, 10485760}));
}

}  // namespace
