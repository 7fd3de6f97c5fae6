#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "images/KExifJpgFileType.h"
#include "images/KJPGFileType.h"
#include "tests/support/Scan.h"

namespace {

using namespace std::string_literals;
using namespace test;

constexpr std::int32_t Exif = FileTypeIndex::JpegCamera;
constexpr std::int32_t Graphics = FileTypeIndex::JpegGraphics;

constexpr std::int64_t Limit = 0x4000000;
// The end search reads in pieces of this many bytes.
constexpr std::int64_t Piece = 32256;

const std::string EndMark = "\xFF\xD9";

// A marker segment of `size` bytes with its marker, 4 at least.
std::string Segment(std::uint8_t marker, std::size_t size, const std::string& payload = "") {
    const std::size_t length = size - 2;
    std::string segment{'\xFF', static_cast<char>(marker), static_cast<char>(length >> 8U), static_cast<char>(length)};
    segment += payload;
    segment.resize(size);
    return segment;
}

// Start of image and the first segment, 20 bytes together.
std::string Head(const std::string& identifier = "JFIF") { return "\xFF\xD8" + Segment(0xE0, 18, identifier); }

// A file with its end mark after `size` bytes.
std::string File(const std::string& head, std::size_t size) {
    const std::string start = head + Segment(0xDA, 8);
    return start + std::string(size - 2 - start.size(), '\x55') + EndMark;
}

Finds ScanBytes(std::int32_t index, const std::string& bytes, std::int64_t maxSize = 0) {
    Medium medium;
    medium.Put(2, bytes).Grow(medium.SectorCount() + 1);
    return Scan(index, medium, 0, maxSize);
}

TEST(Jpeg, TheFirstSegmentsIdentifierTellsTheTypesApart) {
    const Finds found{{2, 700}};
    const struct {
        std::string head;
        bool exif;
        bool graphics;
    } cases[] = {{Head("JFIF"), false, true},
                 {Head("jfif"), false, true},
                 {Head("Photoshop 3"), false, true},
                 {Head("PHOTOSHOP"), false, true},
                 {Head("Photosho_"), false, false},
                 {Head("Exif"), true, false},
                 {Head("eXIF"), true, false},
                 {Head("JFXX"), false, false},
                 {"\xFF\xD8" + Segment(0xFE, 18, "Exif"), true, false},
                 {"\xFF\xD8" + Segment(0xDB, 18, "\x03") + Segment(0xE1, 18, "Exif"), false, false},
                 {"\xFF\xD8\xFE" + Head("JFIF").substr(3), false, false},
                 {"\xFF\xD9" + Head("JFIF").substr(2), false, false},
                 {"\xFE" + Head("JFIF").substr(1), false, false}};
    for (const auto& c : cases) {
        const std::string file = File(c.head, 700);
        EXPECT_EQ(ScanBytes(Exif, file), c.exif ? found : Finds{}) << c.head;
        EXPECT_EQ(ScanBytes(Graphics, file), c.graphics ? found : Finds{}) << c.head;
    }
}

TEST(Jpeg, IdentifiersLieWhollyInTheirSector) {
    for (const std::string& identifier : {"Exif"s, "JFIF"s, "Photoshop"s}) {
        for (std::int32_t sectorSize = 1; sectorSize < 20; ++sectorSize) {
            Medium medium(sectorSize);
            medium.Put(0, File(Head(identifier), 600));
            const bool fits = sectorSize >= 6 + static_cast<std::int32_t>(identifier.size());
            EXPECT_EQ(Scan(identifier == "Exif" ? Exif : Graphics, medium), fits ? (Finds{{0, 600}}) : Finds{})
                << identifier << " in " << sectorSize;
        }
    }
    Bytes head = BytesOf(Head("JFIF"));
    KJPGFileType type;
    EXPECT_EQ(type.IsHeaderSector(nullptr, 512, nullptr), 0);
    EXPECT_EQ(type.IsHeaderSector(head.data(), 7, nullptr), 0);
    EXPECT_EQ(type.IsHeaderSector(head.data(), -1, nullptr), 0);
    EXPECT_EQ(type.IsHeaderSector(head.data(), 10, nullptr), 1);
    head[2] = 0xFE;
    EXPECT_EQ(type.IsHeaderSector(head.data(), 10, nullptr), 0);
}

TEST(Jpeg, ReportsFrom512BytesOnAndCapsTheSize) {
    for (const std::int64_t size : {300, 511, 512, 513, 20000}) {
        const std::string file = File(Head(), static_cast<std::size_t>(size));
        EXPECT_EQ(ScanBytes(Graphics, file), size >= 512 ? (Finds{{2, size}}) : Finds{}) << size;
        EXPECT_EQ(ScanBytes(Graphics, file, 512), size >= 512 ? (Finds{{2, 512}}) : Finds{}) << size;
    }
}

TEST(Jpeg, SearchesTheEndBehindTheFirstBaselineFrameOrScan) {
    // An end mark in the payload of the segment that follows the one under test.
    const std::string follower = Segment(0xE2, 1000, std::string(600, 'x') + EndMark);
    const auto early = static_cast<std::int64_t>(20 + 30 + 4 + 600 + 2);
    const auto late = static_cast<std::int64_t>(20 + 30 + 1000 + 8 + 500 + 2);
    for (const int marker : {0xC0, 0xDA, 0xC1, 0xC2, 0xC4, 0xDB, 0xDD, 0xE1, 0xFE, 0x00, 0xFF, 0xD8, 0xD9}) {
        const std::string file = Head() + Segment(static_cast<std::uint8_t>(marker), 30) + follower + Segment(0xDA, 8) +
                                 std::string(500, 'x') + EndMark;
        EXPECT_EQ(ScanBytes(Graphics, file), (Finds{{2, marker == 0xC0 || marker == 0xDA ? early : late}})) << marker;
    }
}

TEST(Jpeg, ABrokenMarkerChainEndsTheWalkWithoutAReport) {
    const std::string end = File("", 700);
    EXPECT_EQ(ScanBytes(Graphics, Head() + Segment(0xDB, 4) + end), (Finds{{2, 724}})) << "a length of 2 is the least";
    for (const std::string& breach :
         {"\xFF\xDB\x00\x01"s, "\xFF\xDA\x00\x01"s, "\xFF\xC0\x00\x00"s, "\xFE\xDA\x00\x02"s}) {
        EXPECT_EQ(ScanBytes(Graphics, Head() + breach + end), Finds{});
    }
    EXPECT_EQ(ScanBytes(Graphics, Head()), Finds{}) << "zeros behind the first segment";
}

TEST(Jpeg, AnEndMarkOnTheLastTwoBytesOfAPieceIsNotSeen) {
    const std::string start = Head() + Segment(0xDA, 580);  // 600 bytes
    for (const std::int64_t place :
         {std::int64_t{0}, std::int64_t{1}, Piece - 3, Piece - 2, Piece - 1, Piece, Piece + 1, 3 * Piece - 2}) {
        std::string file = start + std::string(4 * Piece, 'x');
        file.replace(600 + static_cast<std::size_t>(place), 2, EndMark);
        file.replace(600 + 3 * Piece + 70, 2, EndMark);
        const std::int64_t end = place % Piece < Piece - 2 ? place : 3 * Piece + 70;
        EXPECT_EQ(ScanBytes(Graphics, file), (Finds{{2, 600 + end + 2}})) << "from byte " << place;
    }
}

TEST(Jpeg, SearchesNoPieceThatBeginsAtTheLimit) {
    Medium medium;
    medium.Grow((Limit + 2 * Piece) / 512);
    // The last piece begins one byte before the limit, or at it.
    constexpr std::int64_t inFront = Limit % Piece - 1;
    constexpr std::int64_t at = Limit % Piece;
    const struct {
        std::int64_t searchStart;
        std::int64_t endMark;
        bool found;
    } cases[] = {{inFront, Limit - 4, true},          {inFront, Limit - 1, true}, {inFront, Limit + Piece - 4, true},
                 {inFront, Limit + Piece - 3, false}, {at, Limit - 3, true},      {at, Limit, false}};
    for (const auto& c : cases) {
        medium.Put(0, Head() + Segment(0xDA, static_cast<std::size_t>(c.searchStart) - 20));
        const auto mark = medium.Data().begin() + c.endMark;
        std::ranges::copy(BytesOf(EndMark), mark);
        const SectorBlock block = BlockOf(medium, 0, 3);
        const TypePtr type = CreateType(Graphics);
        RecordingSink sink;
        type->ScanBlock(&block, &sink);
        type->SetMaxFileSize(2 * Limit);
        type->ScanBlock(&block, &sink);
        const std::int64_t size = c.endMark + 2;
        EXPECT_EQ(sink.finds, c.found ? (Finds{{0, std::min(size, Limit)}, {0, size}}) : Finds{}) << c.endMark;
        std::fill_n(mark, 2, std::uint8_t{0});
    }
}

TEST(Jpeg, HeadersInsideAFileAreExaminedLikeAnyOther) {
    Medium medium;
    medium.Put(1, Head() + Segment(0xDA, 8)).Put(2, Head() + Segment(0xDA, 8)).Put(4, File(Head(), 512));
    medium.Put(3, Head("Exif") + Segment(0xC0, 8));
    EXPECT_EQ(ScanAtEverySplit(Graphics, medium), (Finds{{1, 4 * 512}, {2, 3 * 512}, {4, 512}}));
    EXPECT_EQ(ScanAtEverySplit(Exif, medium), (Finds{{3, 2 * 512}}));
}

// Every sector begins a file whose segments lead over the next header into the same long chain of short segments.
TEST(Jpeg, HeadersInFrontOfOneChainShareOneWalk) {
    constexpr std::int64_t headers = 200;
    Medium medium;
    for (std::int64_t i = 0; i < headers; ++i) {
        std::string sector = Head();
        while (sector.size() < 508) {
            sector += Segment(0xE0, 4);
        }
        medium.Put(i, sector + Segment(0xE0, 24).substr(0, 4));
    }
    constexpr std::int64_t chainSectors = 8 << 11;
    std::string chain(20, '\0');
    while (chain.size() < chainSectors * 512) {
        chain += Segment(0xE1, 4);
    }
    medium.Put(headers, chain).Put(headers + chainSectors, Segment(0xDA, 8) + EndMark);
    Finds expected;
    for (std::int64_t i = 0; i < headers; ++i) {
        expected.push_back({i, (headers + chainSectors - i) * 512 + 10});
    }
    for (const std::int64_t blocks : {1, 10}) {
        medium.requests.clear();
        const TypePtr type = CreateType(Graphics);
        EXPECT_EQ(Scan(*type, medium, Blocks(static_cast<std::size_t>(blocks), headers / blocks)), expected);
        EXPECT_LT(medium.requests.size(), chainSectors / 64 + headers * 8) << blocks;
    }
}

}  // namespace
