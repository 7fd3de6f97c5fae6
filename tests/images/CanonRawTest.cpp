#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "tests/support/BoxBytes.h"
#include "tests/support/SparseMedium.h"
#include "tests/support/TiffBuilder.h"

namespace {

using namespace std::string_literals;
using namespace test::box;
using namespace test;
using Fields = std::vector<TiffField>;

constexpr std::uint16_t Byte = TiffByte;
constexpr std::uint16_t Short = TiffShort;
constexpr std::uint16_t Long = TiffLong;

constexpr std::int32_t Cr2 = FileTypeIndex::Cr2;
constexpr std::int32_t Cr3 = FileTypeIndex::Cr3;
constexpr std::uint32_t MiB = 0x100000;

// The size of what begins a medium of 300 MiB, in the first sector; zeros follow.
std::optional<std::int64_t> SizeOf(std::int32_t index, const Bytes& file, std::int64_t behind = 0,
                                   const Bytes& more = {}) {
    SparseMedium medium(std::int64_t{300} << 20);
    medium.Put(0, file).Put(behind == 0 ? std::int64_t{250} << 20 : behind, more);
    const Finds finds = medium.ScanStart(index);
    EXPECT_LE(finds.size(), 1U);
    return finds.empty() ? std::nullopt : std::optional(finds[0].size);
}

Bytes Cr2Of(const std::vector<Fields>& chain, bool bigEndian = false) {
    TiffBuilder builder(bigEndian, BytesOf("CR\2\0\0\0\0\0"s));
    for (const Fields& fields : chain) {
        builder.AppendDirectory(fields);
    }
    return builder.File();
}

Fields Strip(std::uint32_t offset, std::uint32_t length) { return {{273, Long, {offset}}, {279, Long, {length}}}; }

TEST(Cr2, EndsWithTheFurthestPieceOfFourDirectories) {
    const Fields none{{259, Short, {6}}};
    const Fields broken{{273, 13, {0}}};
    const struct {
        const char* what;
        std::vector<Fields> chain;
        std::optional<std::int64_t> size;
    } cases[] = {
        {"preview, thumbnail, raw",
         {Strip(600, MiB), {{513, Long, {4 * MiB}}, {514, Long, {7}}}, Strip(MiB, 2 * MiB)},
         4 * MiB + 7},
        {"the fourth", {none, none, none, Strip(2 * MiB, 5)}, 2 * MiB + 5},
        {"the fifth", {Strip(MiB, 5), none, none, none, Strip(2 * MiB, 5)}, MiB + 5},
        {"behind one that fails", {Strip(MiB, 5), broken, Strip(2 * MiB, 5)}, MiB + 5},
        {"1 MiB", {Strip(MiB - 10, 10)}, MiB},
        {"less", {Strip(MiB - 10, 9)}, std::nullopt},
        {"the furthest of several, not the last",
         {{{273, Long, {MiB, 3 * MiB, 2 * MiB}}, {279, Long, {10, 20, 30}}}},
         3 * MiB + 20},
        {"several short lengths", {{{273, Long, {MiB, 2 * MiB, 9 * MiB}}, {279, Short, {10, 20}}}}, 2 * MiB + 20},
        {"pieces of no bytes", {Strip(MiB, 5), Strip(9 * MiB, 0)}, MiB + 5},
        {"lengths of another type", {Strip(MiB, 5), {{273, Long, {9 * MiB}}, {279, 9, {5}}}}, MiB + 5},
        {"the cap", {Strip(0x0FFFFFF0, 15)}, 0x0FFFFFFF},
        {"beyond", {Strip(0x0FFFFFF0, 16)}, 0x0FFFFFFF},
        {"negative", {Strip(0x7FFFFFFF, 1)}, std::nullopt},
        {"wrapped", {Strip(0xFFFFFFFF, MiB + 1)}, MiB},
    };
    for (const auto& tested : cases) {
        for (const bool bigEndian : {false, true}) {
            EXPECT_EQ(SizeOf(Cr2, Cr2Of(tested.chain, bigEndian)), tested.size) << tested.what << bigEndian;
        }
    }
}

TEST(Cr2, DirectoriesAndValuesBehindThePicturesCount) {
    const struct {
        const char* what;
        std::uint16_t tag;
        // Of the directory that the tag names, at 2 MiB.
        Fields named;
        std::int64_t size;
    } cases[] = {{"EXIF", 34665, {{33434, Long, {1}}}, 2 * MiB + 18},
                 {"GPS", 34853, {{1, Short, {1}}, {2, Short, {1}}}, 2 * MiB + 30},
                 {"a picture of a sub-directory", 330, Strip(3 * MiB, 5), 3 * MiB + 5},
                 {"a value", 34665, {{37500, Byte, {1, 2, 3, 4, 5}}}, 2 * MiB + 24},
                 {"an empty one", 330, {}, 600 + MiB}};
    for (const auto& tested : cases) {
        Fields fields = Strip(600, MiB);
        TiffBuilder behind;
        behind.Append(Zeros(2 * MiB - 8));
        // The value stands before its directory.
        fields.push_back({tested.tag, Long, {behind.AppendDirectory(tested.named)}});
        const Bytes file = behind.File();
        EXPECT_EQ(SizeOf(Cr2, Cr2Of({fields}), 2 * MiB, Bytes(file.begin() + 2 * MiB, file.end())), tested.size)
            << tested.what;
    }
    // The largest value and a larger one; one that ends at the end of what is looked at, and one after it.
    for (const auto& [offset, count, size] : {std::tuple{2 * MiB, 16 * MiB, 18 * MiB},
                                              {2 * MiB, 16 * MiB + 1, MiB + 600},
                                              {0x0FFFFF00U, 0xFFU, 0x0FFFFFFFU},
                                              {0x0FFFFF00U, 0x100U, MiB + 600}}) {
        Bytes file = Cr2Of({{{273, Long, {600}}, {279, Long, {MiB}}, {700, Byte, {1}}}});
        // The count and the value of the third entry.
        for (std::size_t i = 0; i < 4; ++i) {
            file[16 + 2 + 24 + 4 + i] = static_cast<std::uint8_t>(count >> (8 * i));
            file[16 + 2 + 24 + 8 + i] = static_cast<std::uint8_t>(offset >> (8 * i));
        }
        EXPECT_EQ(SizeOf(Cr2, file), size) << offset << ", " << count;
    }
}

TEST(Cr2, LoopsEndAndOtherStartsAreNone) {
    // The directory is the next one of its own, and names itself.
    Bytes loop = Cr2Of({{{273, Long, {600}}, {279, Long, {MiB}}, {330, Long, {24, 24}}}});
    loop[loop.size() - 4] = 24;
    EXPECT_EQ(SizeOf(Cr2, loop), MiB + 600);
    const Bytes sound = Cr2Of({Strip(600, MiB)});
    for (const std::size_t place : {0U, 2U, 8U, 9U, 10U}) {
        Bytes other = sound;
        other[place] ^= 0x20;
        EXPECT_EQ(SizeOf(Cr2, other), std::nullopt) << place;
    }
    for (const std::int32_t sectorSize : {15, 16}) {
        Medium medium(sectorSize);
        medium.Put(1, sound).Grow(MiB / 16);
        EXPECT_EQ(Scan(Cr2, medium), sectorSize < 16 ? Finds{} : (Finds{{1, MiB + 600}})) << sectorSize;
    }
}

Bytes Trailer(std::uint32_t length, const std::string& foot = "CANON OPTIONAL DATA\0"s) {
    return Join({BytesOf("CANON OPTIONAL DATA\0\0\1\0\0"s), Big(length, 4), Zeros(length), BytesOf(foot),
                 Zeros(64 - foot.size())});
}

// The first box and the movie, 300 bytes together.
Bytes Cr3Start(std::uint32_t firstBox = 24) {
    Bytes bytes =
        Join({Header(firstBox, "ftyp"), BytesOf("crx "), Zeros(firstBox - 12), Header(300 - firstBox, "moov"),
              Header(100, "uuid"), BytesOf("\x85\xC0\xB6\x87\x82\x0F\x11\xE0\x81\x11\xF4\xCE\x46\x2B\x6A\x48"),
              Header(38, "CNCV"), BytesOf("CanonCR3_001")});
    bytes.resize(300);
    return bytes;
}

TEST(Cr3, OtherStartsAreNone) {
    const Bytes media = Box(200, "mdat");
    for (const std::uint32_t firstBox : {15U, 16U, 64U, 65U}) {
        const bool isFound = firstBox >= 16 && firstBox <= 64;
        EXPECT_EQ(SizeOf(Cr3, Join({Cr3Start(firstBox), media})), isFound ? std::optional(500) : std::nullopt);
    }
    // A letter of each box's type, of the brand, of the maker's number and of what the file is.
    for (const std::size_t place : {4U, 8U, 28U, 36U, 55U, 63U, 70U, 71U}) {
        Bytes other = Join({Cr3Start(), media});
        other[place] ^= 0x20;
        EXPECT_EQ(SizeOf(Cr3, other), std::nullopt) << place;
    }
}

TEST(Cr3, EndsWhereTheBoxesDo) {
    constexpr std::uint32_t media = 1000;
    const struct {
        const char* what;
        Bytes boxes;
        // After the start; 0 for none.
        std::int64_t size;
    } cases[] = {
        {"boxes of all types",
         Join({Box(90, "uuid"), Box(media, "mdat"), Box(8, "free"), Box(9, "skip"), Box(80, "wide"), Box(70, "uuid")}),
         1257},
        {"another box", Join({Box(media, "mdat"), Box(100, "meta")}), media},
        {"the next file", Join({Box(media, "mdat"), Cr3Start(), Box(100, "mdat")}), media},
        {"no media", Join({Box(100, "uuid"), Box(200, "free")}), 0},
        {"a long size", Join({LongHeader(media, "mdat"), Zeros(media - 16), Box(8, "free")}), media + 8},
        {"the smallest long one", Join({LongHeader(16, "mdat"), Box(8, "free")}), 24},
        {"a smaller one", Join({LongHeader(15, "mdat"), Box(100, "free")}), 0},
        {"smaller than its header", Join({Box(media, "mdat"), Header(7, "free"), Box(100, "free")}), media},
        {"open to the end", Join({Header(0, "mdat"), Zeros(media)}), 0},
        {"up to the end of the medium", Header(300 * MiB - 300, "mdat"), 0x8000000 - 300},
        {"beyond it", Header(300 * MiB - 299, "mdat"), 0},
        {"back to the start", LongHeader(~std::uint64_t{0} - 299, "mdat"), 0},
        {"a trailer", Join({Box(media, "mdat"), Trailer(40)}), media + 132},
        {"one without a foot", Join({Box(media, "mdat"), Trailer(40, "CANON OPTIONAL DATE")}), media},
    };
    for (const auto& tested : cases) {
        EXPECT_EQ(SizeOf(Cr3, Join({Cr3Start(), tested.boxes})),
                  tested.size == 0 ? std::nullopt : std::optional(300 + tested.size))
            << tested.what;
    }
    Medium medium;
    medium.Put(1, Join({Cr3Start(), Box(media, "mdat"), Trailer(700)})).Grow(9);
    EXPECT_EQ(ScanAtEverySplit(Cr3, medium), (Finds{{1, 300 + media + 792}}));
    EXPECT_EQ(Scan(Cr3, medium, 0, 700), (Finds{{1, 700}})) << "the cap";
    // A file of the other type has the same trailer.
    EXPECT_EQ(SizeOf(Cr2, Cr2Of({Strip(600, 2 * MiB - 610)}), 2 * MiB - 10, Trailer(5000)), 2 * MiB - 10 + 5092);
}

}  // namespace
