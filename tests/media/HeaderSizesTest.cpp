#include <gtest/gtest.h>

#include <string>

#include "frame/contract/FileTypeCatalog.h"
#include "tests/support/Numbers.h"
#include "tests/support/Scan.h"

namespace {

using namespace std::string_literals;
using namespace test;

// A number of 32 bits, most significant byte first.
std::string Text(const Bytes& bytes) { return {bytes.begin(), bytes.end()}; }
std::string Big(std::uint32_t value) { return Text(test::Big(value)); }
std::string Little(std::uint32_t value) { return Text(test::Little(value)); }

Finds ScanHeader(std::int32_t index, const std::string& header, std::int32_t sectorSize = 512) {
    Medium medium(sectorSize);
    medium.Put(4, header);
    return Scan(index, medium);
}

std::string Smaf(std::uint32_t size) { return "MMMD" + Big(size) + "CNTI"; }
std::string Au(std::uint32_t offset, std::uint32_t size) { return ".snd" + Big(offset) + Big(size); }
std::string Flash(std::uint32_t size, char version = 6) { return "CWS"s + std::string(1, version) + Little(size); }
std::string Vegas(std::uint32_t size) { return "riff\x2E\x91\xCF\x11"s + std::string(8, '\0') + Little(size); }

TEST(HeaderSizes, AreNumbersOf32Bits) {
    const struct {
        std::int32_t index;
        std::string header;
        std::int64_t size;
    } cases[] = {{FileTypeIndex::Mmf, Smaf(247), 0},
                 {FileTypeIndex::Mmf, Smaf(248), 256},
                 {FileTypeIndex::Mmf, Smaf(0x7FFFFFF8), 0},
                 {FileTypeIndex::Mmf, Smaf(0x7FFFFFF7), 0x2000000},
                 {FileTypeIndex::Mmf, "MMMD" + Big(1000) + "CNTi", 0},
                 {FileTypeIndex::Au, Au(24, 1000), 1024},
                 {FileTypeIndex::Au, Au(24, 231), 0},
                 {FileTypeIndex::Au, Au(999, 1000), 1999},
                 {FileTypeIndex::Au, Au(1000, 1000), 0},
                 {FileTypeIndex::Au, Au(0xFFFFFF00, 1000), 744},
                 {FileTypeIndex::Au, Au(24, 0xFFFFFFFF), 0},
                 {FileTypeIndex::Au, Au(24, 0x7FFFFFE8), 0},
                 {FileTypeIndex::Au, Au(24, 0x7FFFFFE7), 0xC800000},
                 {FileTypeIndex::Swf, Flash(255), 0},
                 {FileTypeIndex::Swf, Flash(256), 256},
                 {FileTypeIndex::Swf, Flash(0x3FFFFFFF), 0x3FFFFFFF},
                 {FileTypeIndex::Swf, Flash(0x40000000), 0},
                 {47, "FWS\x09" + Little(300), 300},
                 {47, "ZWS\x09" + Little(300), 0},
                 {FileTypeIndex::Veg, Vegas(255), 0},
                 {FileTypeIndex::Veg, Vegas(256), 256},
                 {FileTypeIndex::Veg, Vegas(0x7FFFFFFF), 0x2000000},
                 {FileTypeIndex::Veg, Vegas(0x80000000), 0}};
    for (const auto& tested : cases) {
        EXPECT_EQ(ScanHeader(tested.index, tested.header), tested.size == 0 ? Finds{} : (Finds{{4, tested.size}}))
            << FileTypeCatalog[tested.index].extension << ", " << tested.size;
    }
    for (const char version : "\0\1\x9\xA\xF\x10\x19\x1A"s) {
        const bool isKnown = version == 1 || version == 9 || version == 16 || version == 25;
        EXPECT_EQ(ScanHeader(FileTypeIndex::Swf, Flash(300, version)).size(), isKnown ? 1U : 0U) << int{version};
    }
}

TEST(HeaderSizes, NeedASectorThatHoldsTheHeader) {
    const std::tuple<std::int32_t, std::string, std::int32_t> cases[] = {{FileTypeIndex::Mmf, Smaf(1000), 17},
                                                                         {FileTypeIndex::Au, Au(24, 1000), 17},
                                                                         {FileTypeIndex::Swf, Flash(300), 9},
                                                                         {FileTypeIndex::Veg, Vegas(300), 33}};
    for (const auto& [index, header, smallest] : cases) {
        EXPECT_EQ(ScanHeader(index, header, smallest).size(), 1U) << index;
        EXPECT_EQ(ScanHeader(index, header, smallest - 1), Finds{}) << index;
    }
}

// An EBML header, the mark of the document type, and a Segment at an offset.
std::string Ebml(const std::string& mark, std::size_t segment, const std::string& size) {
    std::string text = "\x1A\x45\xDF\xA3\x9F" + mark;
    text.resize(segment, '\xEC');
    return text + "\x18\x53\x80\x67" + size;
}

TEST(Ebml, ASegmentInTheFirstSectorSaysTheSize) {
    const std::string mkv = "\x82\x88matroska";
    const std::string webm = "\x82\x84webm";
    const auto sized = [](std::uint32_t size) {
        return "\x01\0\0\0"s + Big(size);
    };
    const struct {
        std::string header;
        std::int64_t size;
        std::int32_t sectorSize = 512;
    } cases[] = {{Ebml(mkv, 35, sized(0x123456)), 35 + 12 + 0x123456},
                 {Ebml(mkv, 35, sized(4095 - 47)), 0},
                 {Ebml(mkv, 35, sized(4096 - 47)), 4096},
                 {Ebml(mkv, 35, "\x01\xFF\xFF\xFF\xFF\xFF\xFF\xFF"), 0x2000000000},
                 {Ebml(mkv, 35, "\x01\0\0\1\2\3\4\5"s), 47 + 0x102030405},
                 {Ebml(mkv, 35, "\x11\x23\x45\x67"), 0},
                 {Ebml(mkv, 499, sized(9000)), 9511},
                 {Ebml(mkv, 500, sized(9000)), 0},
                 {Ebml(mkv, 35, sized(9000)), 0, 511},
                 // A Segment with another size counts for nothing.
                 {Ebml(mkv, 35, "\x18\x53\x80\x67" + sized(9000)), 39 + 12 + 9000},
                 {Ebml("", 35, sized(9000) + mkv), 0},
                 {Ebml("\x82\x88Matroska", 35, sized(9000)), 0},
                 {Ebml(mkv, 15, sized(9000)), 15 + 12 + 9000}};
    for (const auto& tested : cases) {
        EXPECT_EQ(ScanHeader(FileTypeIndex::Mkv, tested.header, tested.sectorSize),
                  tested.size == 0 ? Finds{} : (Finds{{4, tested.size}}))
            << tested.size;
        EXPECT_EQ(ScanHeader(FileTypeIndex::Webm, tested.header, tested.sectorSize), Finds{});
    }
    EXPECT_EQ(ScanHeader(FileTypeIndex::Webm, Ebml(webm, 35, sized(9000))), (Finds{{4, 9047}}));
    EXPECT_EQ(ScanHeader(FileTypeIndex::Mkv, Ebml(webm, 35, sized(9000))), Finds{});
}

}  // namespace
