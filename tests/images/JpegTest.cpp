#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cctype>
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

// A file with its end mark behind `size` bytes.
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
    for (const std::int64_t place : {0L, 1L, Piece - 3, Piece - 2, Piece - 1, Piece, Piece + 1, 3 * Piece - 2}) {
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
    // The last piece begins one byte in front of the limit, or at it.
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

// The rule of the two types, byte by byte over the whole medium, behind which zeros follow.
class Reference {
public:
    explicit Reference(const Bytes& medium) : medium_(medium) {}

    bool IsHeader(std::int64_t sector, std::int64_t size, std::int32_t index) const {
        return size >= 8 && At(sector) == 0xFF && At(sector + 1) == 0xD8 && At(sector + 2) == 0xFF &&
               (index == Exif ? Names(sector, size, "EXIF")
                              : Names(sector, size, "JFIF") || Names(sector, size, "PHOTOSHOP"));
    }
    // Where the end search begins, counted from the file's start; -1 if the walk does not get there.
    std::int64_t SearchStart(std::int64_t file) const {
        std::int64_t position = 2;
        while (position < Limit && At(file + position) == 0xFF) {
            const int marker = At(file + position + 1);
            const int length = At(file + position + 2) * 256 + At(file + position + 3);
            if (length < 2) {
                return -1;
            }
            position += 2 + length;
            if (marker == 0xC0 || marker == 0xDA) {
                return position;
            }
        }
        return -1;
    }
    // The file's length; -1 if it has no end.
    std::int64_t Length(std::int64_t file) const {
        std::int64_t position = SearchStart(file);
        if (position < 0) {
            return -1;
        }
        const auto end = static_cast<std::int64_t>(medium_.size());
        for (; position < Limit && file + position < end; position += Piece) {
            for (std::int64_t k = 0; k <= 32253; ++k) {
                if (At(file + position + k) == 0xFF && At(file + position + k + 1) == 0xD9) {
                    return position + k + 2;
                }
            }
        }
        return -1;
    }

private:
    int At(std::int64_t position) const {
        return static_cast<std::size_t>(position) < medium_.size() ? medium_[static_cast<std::size_t>(position)] : 0;
    }
    bool Names(std::int64_t sector, std::int64_t size, const std::string& name) const {
        for (std::size_t i = 0; i < name.size(); ++i) {
            if (std::toupper(At(sector + 6 + static_cast<std::int64_t>(i))) != name[i]) {
                return false;
            }
        }
        return size >= 6 + static_cast<std::int64_t>(name.size());
    }

    const Bytes& medium_;
};

// A header in a sector whose first segment leads to a start of scan at `scanAt`, in bytes of the medium.
void PutHeader(Medium& medium, std::int64_t sector, std::int64_t scanAt) {
    const auto size = static_cast<std::size_t>(scanAt - sector * medium.SectorSize() - 2);
    medium.Put(sector, "\xFF\xD8" + Segment(0xE0, size, "JFIF").substr(0, 20));
}

// The first search of a scan may read to the limit; the others only read on from where it stopped.
TEST(Jpeg, HeadersWithoutAnEndShareOneSearch) {
    enum Order { Ascending, Descending, Mixed, Same };
    for (const Order order : {Ascending, Descending, Mixed, Same}) {
        // The ascending scans stand in the headers' own sectors, the others in a table behind all headers.
        const std::int64_t headers = order == Ascending ? 2000 : 120;
        Medium medium;
        std::string table = Segment(0xDA, 20);
        for (std::int64_t i = 0; i < headers; ++i) {
            const std::int64_t rows[] = {0, headers - i, i * 77 % headers, 0};
            medium.Put(i, Head() + Segment(0xDA, 20));
            if (order != Ascending) {
                PutHeader(medium, i, headers * 512 + rows[order] * 20);
            }
            table += Segment(0xDA, 20);
        }
        if (order == Same) {
            // On the last bytes of the first piece of all the searches.
            table.resize(20 + Piece - 2);
            table += EndMark;
        }
        medium.Put(headers, table);
        for (const std::int64_t blockSectors : {0, 48}) {
            medium.requests.clear();
            EXPECT_EQ(Scan(Graphics, medium, blockSectors), Finds{}) << order;
            std::int64_t sectorsRead = 0;
            for (const Medium::Request& request : medium.requests) {
                sectorsRead += request.count;
            }
            EXPECT_GT(sectorsRead, Limit / 512) << order << ": the first search must reach the limit";
            EXPECT_LT(sectorsRead, Limit / 512 + headers * 4 * 64) << order << " in blocks of " << blockSectors;
        }
    }
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

// Three searches in every order of some starts, around marks that one start sees and another does not.
TEST(Jpeg, WhatEarlierSearchesSawChangesNoEnd) {
    constexpr std::int64_t first = 200;
    constexpr std::int64_t starts[] = {first, first + 6, first + Piece - 6, first + Piece, first + 2 * Piece};
    constexpr std::int64_t marks[] = {first + Piece - 1, first + 2 * Piece - 1, first + 3 * Piece - 2};
    Medium medium(64);
    medium.Grow(5 * Piece / 64).Put(medium.SectorCount() - 1, EndMark + EndMark + EndMark);
    for (unsigned config = 0; config < 5 * 5 * 5 * 8; ++config) {
        const auto put = [&](std::int64_t at, const std::string& bytes) {
            std::ranges::copy(BytesOf(bytes), medium.Data().begin() + at);
        };
        for (std::size_t i = 0; i < std::size(marks); ++i) {
            put(marks[i], (config >> i & 1U) != 0 ? EndMark : "\0\0"s);
        }
        for (const std::int64_t start : starts) {
            put(start - 5, "\xFF\xDA\x00\x03"s);
        }
        const std::int64_t order[] = {starts[config / 8 % 5], starts[config / 40 % 5], starts[config / 200]};
        Finds expected;
        for (std::int64_t sector = 0; sector < 3; ++sector) {
            PutHeader(medium, sector, order[sector] - 5);
            expected.push_back({sector, Reference(medium.Data()).Length(sector * 64)});
        }
        ASSERT_EQ(Scan(Graphics, medium), expected) << "configuration " << config;
    }
}

// Headers, chains of segments that end in each other's, and few end marks, many of them around the ends of pieces.
Bytes DenseBytes(std::int32_t sectorSize, Noise& noise) {
    const std::size_t sectors = (20000 + noise.Below(300000)) / static_cast<std::size_t>(sectorSize) + 1;
    Bytes bytes(sectors * static_cast<std::size_t>(sectorSize));
    const auto place = [&](std::size_t at, const std::string& text) {
        for (std::size_t i = 0; i < text.size() && at + i < bytes.size(); ++i) {
            bytes[at + i] = static_cast<std::uint8_t>(text[i]);
        }
    };
    const auto oneOf = [&](const auto& choices) {
        return choices[noise.Below(std::size(choices))];
    };
    std::vector<std::int64_t> files;
    for (std::uint64_t count = 1 + noise.Below(60); count > 0; --count) {
        std::size_t at = noise.Below(sectors) * static_cast<std::size_t>(sectorSize);
        files.push_back(static_cast<std::int64_t>(at));
        place(at, "\xFF\xD8");
        at += 2;
        const char* name = oneOf(std::to_array({"JFIF", "jfif", "Exif", "Photoshop", "JFXX"}));
        const bool longChain = noise.Below(8) == 0;
        for (std::uint64_t hops = longChain ? noise.Below(5000) : 1 + noise.Below(5); hops > 0; --hops) {
            const std::uint8_t marker = oneOf(std::to_array<std::uint8_t>({0xE1, 0xC2, 0xDB, 0xFE}));
            const std::size_t size = 24 + (longChain             ? noise.Below(40)
                                           : noise.Below(4) == 0 ? noise.Below(65000)
                                                                 : noise.Below(600));
            place(at, Segment(marker, size, name).substr(0, 24));
            at += size;
        }
        const std::uint8_t marker = oneOf(std::to_array<std::uint8_t>({0xDA, 0xDA, 0xC0, 0x00}));
        place(at, Segment(marker, 4 + noise.Below(100)).substr(0, 4));
    }
    for (std::uint64_t count = noise.Below(50); count > 0; --count) {
        const std::int64_t file = oneOf(files);
        const std::int64_t searchStart = Reference(bytes).SearchStart(file);
        if (searchStart >= 0) {
            const std::int64_t pieceEnd = file + searchStart + Piece * (1 + static_cast<std::int64_t>(noise.Below(4)));
            place(static_cast<std::size_t>(pieceEnd) - noise.Below(5), oneOf(std::array{EndMark, "\xFF" + EndMark}));
        }
        place(noise.Below(bytes.size()), oneOf(std::array{EndMark, "\xFF"s, "\xFF"s}));
    }
    if (noise.Below(16) != 0) {
        // For the speed of the test: an end that no search can miss.
        place(bytes.size() - 6, EndMark + EndMark + EndMark);
    }
    return bytes;
}

TEST(Jpeg, AgreesWithTheReferenceOnDenseMedia) {
    Noise noise(4);
    std::size_t reports = 0;
    for (int round = 0; round < 150; ++round) {
        constexpr std::int32_t sectorSizes[] = {512, 512, 512, 4096, 520, 128, 64, 15, 11};
        const std::int32_t sectorSize = sectorSizes[noise.Below(std::size(sectorSizes))];
        Medium medium(sectorSize, DenseBytes(sectorSize, noise));
        const Reference reference(medium.Data());
        for (const std::int32_t index : {Exif, Graphics}) {
            Finds expected;
            for (std::int64_t sector = 0; sector < medium.SectorCount(); ++sector) {
                if (reference.IsHeader(sector * sectorSize, sectorSize, index)) {
                    const std::int64_t length = reference.Length(sector * sectorSize);
                    if (length >= 512) {
                        expected.push_back({sector, length});
                    }
                }
            }
            ASSERT_EQ(Scan(index, medium), expected) << "round " << round << ", sectors of " << sectorSize;
            ASSERT_EQ(Scan(*CreateType(index), medium, RandomBlocks(medium, noise)), expected) << round;
            reports += expected.size();
        }
    }
    EXPECT_GT(reports, 500U) << "the media have become too thin to test anything";
}

}  // namespace
