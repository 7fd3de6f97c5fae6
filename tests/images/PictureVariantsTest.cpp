#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <string_view>

#include "tests/support/Registry.h"
#include "tests/support/Scan.h"

namespace {

using namespace std::string_literals;
using namespace test;

struct Change {
    std::size_t offset;
    std::string bytes;
};

// A sample file with some bytes changed, and with bytes after it.
struct Variant {
    const char* what;
    const char* sample;
    std::vector<Change> changes;
    /// The size to be reported, 0 for no find.
    std::int64_t size;
    std::string behind = {};
};
std::ostream& operator<<(std::ostream& out, const Variant& variant) {
    return out << variant.sample << ": " << variant.what;
}

void Check(const std::vector<Variant>& variants) {
    for (const Variant& variant : variants) {
        const auto fixture = std::ranges::find(Fixtures(), std::string_view(variant.sample),
                                               [](const Fixture& sample) { return sample.name; });
        ASSERT_NE(fixture, Fixtures().end()) << variant;
        Bytes file = fixture->bytes;
        for (const Change& change : variant.changes) {
            ASSERT_LE(change.offset + change.bytes.size(), file.size()) << variant;
            std::ranges::copy(change.bytes, file.begin() + static_cast<std::ptrdiff_t>(change.offset));
        }
        Medium medium;
        medium.Put(2, Join({file, BytesOf(variant.behind)})).Grow(200);
        std::vector<Found> expected;
        if (variant.size != 0) {
            expected.push_back({2, variant.size});
        }
        EXPECT_EQ(Scan(fixture->types.front(), medium, 1), expected) << variant;
    }
}

TEST(KBmpFileType, SizeFollowsFromTheGeometryAndTheDeclaredOneOnlyPads) {
    Check({{"no declared size", "rgb24.bmp", {{2, "\0\0\0\0"s}}, 4270},
           {"padded by 4096", "rgb24.bmp", {{2, "\xAE\x20\0\0"s}}, 4270 + 4096},
           {"padded by more", "rgb24.bmp", {{2, "\xAF\x20\0\0"s}}, 4270},
           {"reserved words, right size", "rgb24.bmp", {{6, "ab"}}, 4270},
           {"reserved words, wrong size", "rgb24.bmp", {{2, "\xAF"}, {6, "ab"}}, 0},
           {"top-down", "rgb24.bmp", {{22, "\xE1\xFF\xFF\xFF"}}, 4270},
           {"no row", "rgb24.bmp", {{22, "\0"s}}, 0},
           {"2^31 rows", "rgb24.bmp", {{22, "\0\0\0\x80"s}}, 0},
           {"65536 columns", "rgb24.bmp", {{18, "\0\0\1"s}}, 0},
           {"two planes", "rgb24.bmp", {{26, "\2"}}, 0},
           {"header of another length", "rgb24.bmp", {{14, "\x2C"}}, 0},
           {"run lengths of another depth", "rgb24.bmp", {{30, "\1"}}, 0},
           {"pixels in the header", "rgb24.bmp", {{10, "\x35"}}, 0},
           {"pixels 1024 bytes on", "rgb24.bmp", {{10, "\x36\4"}}, 4270 + 1024},
           {"pixels 1025 bytes on", "rgb24.bmp", {{10, "\x37\4"}}, 0},
           {"too many colours", "palette4.bmp", {{46, "\1\1"}}, 0},
           {"larger than the cap, not confirmed", "rgb24.bmp", {{18, "\xFF\xFF"}, {22, "\xFF\1"}}, 0},
           {"compressed without an image size", "rle8.bmp", {{34, "\0\0\0\0"s}}, 1650},
           {"compressed to more than it can be", "rle8.bmp", {{34, "\xFF\xFF\xFF"}}, 0},
           {"linked profile behind the pixels",
            "alpha32.bmp",
            {{70, "KNIL"}, {126, "\x48\x16\0\0\x10"s}},
            14 + 0x1648 + 16}});
}

TEST(KIcoFileType, EveryEntryFitsAndEveryImageBeginsAsItsEntrySays) {
    // 38 bytes of directory, 32 by 32 pixels in 2216 bytes, 16 by 16 pixels in 1384 bytes.
    Check({{"overlap", "sizes.ico", {{34, "\xCD"}}, 0},
           {"reserved bytes that differ", "sizes.ico", {{9, "\xFF"}}, 0},
           {"reserved bytes alike", "sizes.ico", {{9, "\xFF"}, {25, "\xFF"}}, 3638},
           {"two planes", "sizes.ico", {{10, "\2"}}, 0},
           {"a depth of 9", "sizes.ico", {{28, "\x09"}}, 0},
           {"another width in the last image", "sizes.ico", {{2258, "\x11"}}, 0},
           {"another height", "sizes.ico", {{46, "\x3F"}}, 0},
           {"height of the colour rows alone", "sizes.ico", {{46, "\x20"}}, 3638},
           {"too small for its pixels", "sizes.ico", {{30, "\x27\5"}}, 0},
           {"no image", "sizes.ico", {{4, "\0"s}}, 0},
           {"129 images", "sizes.ico", {{4, "\x81"}}, 0},
           {"a damaged PNG header", "with-png.ico", {{334, "X"}}, 0},
           {"planes and depth in place of the hot spot", "arrow.cur", {{10, "\1\0\x20"s}}, 3638},
           {"hot spot far outside", "arrow.cur", {{10, "\1\1"}}, 0}});
}

TEST(KXCFFileType, TilesWhoseLengthIsNotKnownEndWhereTheNextPartBegins) {
    // The last part is an empty level; the only tile of 40 by 30 pixels in 3 bytes.
    Check({{"zlib, a level behind the tiles", "layers.xcf", {{34, "\2"}}, 11634},
           {"zlib, a tile last", "small.xcf", {{34, "\2"}}, 592 + 40 * 30 * 3},
           {"an unknown compression", "small.xcf", {{34, "\3"}}, 0}});
}

std::string EmptyRuns(int count) {
    std::string runs;
    for (; count > 0; --count) {
        runs += "\xC0\1";
    }
    return runs;
}

TEST(KPCXFileType, GeometryIsSoundAndThePictureDecodes) {
    const std::string palette = "\x0C" + std::string(768, 'p');
    Check({{"version 1", "mono.pcx", {{1, "\1"}}, 0},
           {"right edge left of the left one", "mono.pcx", {{4, "\x78"}}, 0},
           {"short lines", "mono.pcx", {{66, "\x0E"}}, 0},
           {"rubbish in version 5", "mono.pcx", {{64, "\1"}}, 0},
           {"rubbish in version 3", "mono.pcx", {{1, "\3"}, {64, "\1"}, {68, "abc"}}, 853, palette},
           {"five planes", "mono.pcx", {{65, "\5"}}, 0},
           {"no run length code", "mono.pcx", {{2, "\0"s}}, 128 + 80 * 15},
           {"no run length code in version 3", "mono.pcx", {{1, "\3\0"s}}, 0},
           {"no run length code, rubbish in the filler", "mono.pcx", {{2, "\0"s}, {127, "\1"}}, 0},
           {"no run length code and no palette", "palette8.pcx", {{2, "\0"s}}, 0},
           {"no run length code, a palette", "palette8.pcx", {{2, "\0"s}}, 1523 + 769, std::string(74, 'a') + palette},
           {"a palette of any depth", "mono.pcx", {}, 853 + 769, palette},
           {"but at once", "mono.pcx", {}, 853, "\1" + palette},
           {"a gap of 16 bytes", "palette8.pcx", {{680, "\1"}, {696, "\x0C"}}, 680 + 16 + 769},
           {"a gap of 17 bytes", "palette8.pcx", {{680, "\1"}, {697, "\x0C"}}, 680},
           {"1000 empty runs in zeros", "mono.pcx", {{10, "\xFF\x0F"}}, 853 + 2000 + 4016 * 15, EmptyRuns(1000)},
           {"1001 empty runs", "mono.pcx", {{10, "\xFF\x0F"}}, 0, EmptyRuns(1001)}});
}

TEST(Metafiles, EndWithTheEndRecordOrWhereTheHeaderSaysBehindDamage) {
    Check({{"a padding word", "plain.wmf", {{6, "\x85\1"}}, 778},
           {"a word more than that", "plain.wmf", {{6, "\x86\1"}}, 776},
           {"a damaged record in the first half", "plain.wmf", {{46, "\0"s}}, 0},
           {"a damaged record in the second half", "plain.wmf", {{738, "\0"s}}, 798},
           {"a broken placeable checksum", "placeable.wmf", {{20, "xx"}}, 798},
           {"a long record of no known function", "plain.wmf", {{738, "\1\x20\0\0\xEE\xEE"s}}, 798},
           {"members", "plain.wmf", {{16, "\1"}}, 0},
           {"largest record larger than the file", "plain.wmf", {{12, "\xFF\xFF"}}, 0},
           {"more bytes said", "drawing.emf", {{48, "\0\x10"s}}, 1260},
           {"more bytes said, last record damaged", "drawing.emf", {{48, "\0\x08"s}, {1240, "\0"s}}, 2048},
           {"a damaged record in the first half", "drawing.emf", {{316, "\x31"}}, 0},
           {"a record longer than the file", "drawing.emf", {{1188, "\0\0\1"s}}, 1260},
           {"no size", "drawing.emf", {{48, "\xEC\0"s}}, 0},
           {"version 0 and clean", "drawing.emf", {{44, "\0\0\0"s}}, 1260},
           {"version 0 and damaged", "drawing.emf", {{44, "\0\0\0"s}, {1240, "\0"s}}, 0}});
}

TEST(KIccFileType, TagTableAgreesWithTheSize) {
    // Tag 10 of the first has 36 bytes at 552; tag 4 of the second has 20 bytes at 2732.
    Check({{"a tag of 3 bytes more in version 2", "link.icc", {{191, "\x17"}}, 2752},
           {"a tag of 4 bytes more in version 2", "link.icc", {{191, "\x18"}}, 0},
           {"a tag of 1 byte more in version 4", "display.icc", {{263, "\x25"}}, 0},
           {"a tag in the table", "display.icc", {{258, "\1\7"}}, 0},
           {"a tag of 7 bytes", "display.icc", {{263, "\7"}}, 0},
           {"101 tags", "display.icc", {{131, "\x65"}}, 0},
           {"another class", "display.icc", {{12, "m"}, {13, "o"}}, 0},
           {"a white point 64 off", "display.icc", {{70, "\xF7\x16"}}, 588},
           {"a white point 65 off", "display.icc", {{70, "\xF7\x17"}}, 0},
           {"another connection space", "display.icc", {{20, "RGB "}}, 0},
           {"rubbish in the reserved bytes of version 2", "link.icc", {{127, "\1"}}, 2752},
           {"rubbish in the reserved bytes of version 4", "display.icc", {{127, "\1"}}, 0},
           {"spectral", "display.icc", {{8, "\5"}, {16, "nc\0\3\0\0\0\0"s}, {68, "\1"}, {100, "rs"}}, 588}});
}

std::string Gif(std::string_view blocks) { return "GIF89a\2\0\2\0\x80\0\0cccccc"s + std::string(blocks); }

TEST(KGIFFileType, EndsWithTheTrailerOrTheLastWholeImage) {
    const std::string image = ",\0\0\0\0\2\0\2\0\0\2\xFE"s + std::string(254, ';') + "\0"s;
    const std::string comment = "!\xFE\3a;\0\0"s;
    const auto whole = static_cast<std::int64_t>(Gif(image).size());
    const auto commentBytes = static_cast<std::int64_t>(comment.size());
    const auto imageBytes = static_cast<std::int64_t>(image.size());
    ExpectFiles(FileTypeIndex::Gif,
                {
                    {"comment and image", BytesOf(Gif(comment + image + ";")), whole + commentBytes + 1},
                    {"bytes behind the trailer", BytesOf(Gif(image + ";" + image + ";")), whole + 1},
                    {"16 stray bytes", BytesOf(Gif(image + std::string(16, '\0') + ";")), whole + 17},
                    {"17 stray bytes", BytesOf(Gif(image + std::string(17, '\0') + ";")), whole},
                    {"a stray byte in front", BytesOf(Gif("\0"s + image + ";")), 0},
                    {"no image", BytesOf(Gif("!\xFE\xFF" + std::string(255, 'a') + "\0;"s)), 0},
                    {"a bad block behind two images", BytesOf(Gif(image + image + comment + "x" + image + ";")),
                     whole + imageBytes},
                    {"a bad code width", BytesOf(Gif(image + ",\0\0\0\0\2\0\2\0\0\x0D\1a\0;"s)), whole},
                    {"an image without rows", BytesOf(Gif(image + ",\0\0\0\0\2\0\0\0\0\2\1a\0;"s)), whole},
                });
}

}  // namespace
