#include <gtest/gtest.h>

#include <functional>

#include "host/validate/measure_raf.h"
#include "host/validate/measure_tiff.h"
#include "host/validate/measure_x3f.h"
#include "tests/host/TestFiles.h"
#include "tests/host/TiffBuilder.h"

namespace salvor {

namespace {

using namespace test;
using enum ByteOrder;
constexpr auto Short = test::Short;
constexpr auto Long = test::Long;

using Measure = std::optional<std::int64_t> (*)(CandidateReader&);

// Of a file that begins in sector 3 of a medium, `behind` bytes in front of its end.
std::optional<std::int64_t> SizeOf(Measure measure, const Bytes& file, std::size_t behind = 0) {
    Bytes image = test::Pattern(3 * 512);
    image.insert(image.end(), file.begin(), file.end());
    const Bytes rest = test::Pattern(behind, 2);
    image.insert(image.end(), rest.begin(), rest.end());
    Medium medium(std::make_unique<test::FakeDevice>(image), 512);
    ReadAllowance allowance(std::int64_t{64} << 20);
    CandidateReader bytes(medium, 3, std::int64_t{100} << 20, allowance);
    return measure(bytes);
}

constexpr std::size_t Behind = 200000;

struct TiffCase {
    const char* what;
    // The first directory.
    std::function<std::uint32_t(TiffBuilder&)> build;
    std::int64_t size;
};

std::vector<TiffCase> TiffCases() {
    const auto one = [](std::vector<test::TiffField> fields) {
        return [fields = std::move(fields)](TiffBuilder& tiff) {
            return tiff.Add(fields);
        };
    };
    const std::vector<test::TiffField> deep{{273, Long, {90000}}, {279, Long, {77}}};
    const std::vector<test::TiffField> picture{{256, Long, {100}}, {257, Long, {25}}, {258, Short, {8, 8, 8}},
                                               {259, Short, {1}},  {277, Short, {3}}, {278, Short, {10}}};
    const auto with = [&](std::vector<test::TiffField> more) {
        more.insert(more.begin(), picture.begin(), picture.end());
        return one(more);
    };
    return {
        {"the directory itself", one({{256, Long, {1}}}), 8 + 2 + 12 + 4},
        {"one strip", one({{273, Long, {5000}}, {279, Short, {700}}}), 5700},
        {"the furthest of many strips", one({{273, Long, {9, 90000, 70}}, {279, Long, {1, 20, 80000}}}), 90020},
        {"short numbers", one({{273, Short, {300, 60000}}, {279, Short, {1, 200}}}), 60200},
        {"tiles", one({{324, Long, {400, 500}}, {325, Short, {1, 65535}}}), 66035},
        {"a preview", one({{513, Long, {40000}}, {514, Long, {999}}}), 40999},
        {"values outside of the directory", one({{37500, test::Undefined, {70000}, 5000}}), 75000},
        {"strips without lengths", with({{273, Long, {4000, 8000, 12000}}}), 12000 + 5 * 300},
        {"planes of strips without lengths", with({{273, Long, {1, 2, 3, 4, 5, 6, 7, 9000, 9500}}, {284, Short, {2}}}),
         9000 + 10 * 100},
        {"compressed strips without lengths", one({{257, Long, {1}}, {259, Short, {5}}, {273, Long, {4000}}}), 50},
        {"data that pass the medium's end", one({{273, Long, {200000}}, {279, Long, {4000000000}}}), 4000200000},
        {"data behind the medium's end", one({{273, Long, {4000000000}}, {279, Long, {9}}}), 38},
        {"too many values", one({{273, Long, {0}, 0x40000001}, {279, Long, {50}, 0x40000001}}),
         50 + 4 * std::int64_t{0x40000001}},
        {"a directory in one in the chain",
         [=](TiffBuilder& tiff) {
             const std::uint32_t inner = tiff.Add(deep);
             const std::uint32_t outer = tiff.Add({{330, test::DirectoryType, {9, inner}}});
             return tiff.Add({{256, Long, {1}}}, outer);
         },
         90077},
        {"the directory behind a directory in one",
         [=](TiffBuilder& tiff) {
             const std::uint32_t inner = tiff.Add({{256, Long, {1}}}, tiff.Add(deep));
             return tiff.Add({{330, Long, {inner}}});
         },
         90077},
        {"interoperability in exif",
         [=](TiffBuilder& tiff) {
             return tiff.Add({{34665, Long, {tiff.Add({{40965, Long, {tiff.Add(deep)}}})}}});
         },
         90077},
        {"nothing behind exif",
         [=](TiffBuilder& tiff) {
             const std::uint32_t exif = tiff.Add({{1, Long, {1}}}, tiff.Add(deep));
             return tiff.Add({{34665, Long, {exif}}});
         },
         8 + 30 + 18 + 18},
        {"encrypted data of a maker's directory",
         [=](TiffBuilder& tiff) {
             const std::uint32_t own = tiff.Add({{0x7200, Long, {50000}}, {0x7201, Long, {1234}}});
             return tiff.Add({{50740, Long, {own}}});
         },
         51234},
        {"a loop",
         [=](TiffBuilder& tiff) {
             const std::uint32_t first = tiff.Next();
             tiff.Add({{256, Long, {1}}}, first + 18);
             return tiff.Add({{330, Long, {first + 18}}, {34665, Long, {first}}}, first);
         },
         8 + 18 + 30},
        // The noise behind the file is no directory.
        {"a wrong pointer", one({{256, Long, {1}}, {330, Long, {100000, 5}}}), 8 + 8 + 30},
    };
}

TEST(Measure, FindsTheFurthestEndInATiff) {
    for (const ByteOrder order : {Little, Big}) {
        for (const TiffCase& one : TiffCases()) {
            TiffBuilder tiff(order);
            const std::uint32_t first = one.build(tiff);
            Bytes file = tiff.Finish(first);
            EXPECT_EQ(SizeOf(MeasureTiff, file, Behind), one.size) << one.what;
            // The letters that one maker has in place of the number.
            const std::string mark = order == Little ? "IIRS" : "MMOR";
            std::copy(mark.begin(), mark.end(), file.begin());
            EXPECT_EQ(SizeOf(MeasureTiff, file, Behind), one.size) << one.what;
        }
    }
}

TEST(Measure, TakesNothingElseForATiff) {
    TiffBuilder tiff(Little);
    const Bytes good = tiff.Finish(tiff.Add({{256, Long, {1}}, {257, Long, {1}}}));
    ASSERT_EQ(SizeOf(MeasureTiff, good), 38);
    struct Change {
        std::size_t place;
        std::uint8_t value;
    };
    // Another number, a link into the header, to nothing and to zeros, no entry, too many, types that there are not.
    for (const auto [place, value] :
         {Change{2, 43}, Change{4, 4}, Change{4, 38}, Change{4, 35}, Change{8, 0}, Change{9, 5}, Change{12, 14}}) {
        Bytes bad = good;
        bad[place] = value;
        EXPECT_EQ(SizeOf(MeasureTiff, bad), std::nullopt) << place;
    }
    EXPECT_EQ(SizeOf(MeasureTiff, Bytes(good.begin(), good.begin() + 7)), std::nullopt);
    EXPECT_EQ(SizeOf(MeasureTiff, Bytes(good.begin(), good.begin() + 33)), std::nullopt);
}

TEST(Measure, FindsTheFurthestPieceOfARaf) {
    const std::string mark = "FUJIFILMCCD-RAW ";
    // Where the header lists a piece, the piece, and what they make.
    struct Piece {
        std::size_t place;
        std::uint32_t start;
        std::uint32_t length;
    };
    const Piece preview{84, 148, 5000};
    const Piece raw{100, 9000, 60000};
    const std::vector<std::pair<std::vector<Piece>, std::optional<std::int64_t>>> cases{
        {{preview, {92, 6000, 10}, raw}, 69000},
        {{{84, 148, 90000}, raw}, 90148},
        {{preview, {92, 80000, 10}, raw}, 80010},
        {{preview, raw, {120, 6000, 10}, {128, 70000, 5}}, 70005},
        // The preview stands there.
        {{{84, 120, 5000}, raw, {120, 70000, 5}}, 69000},
        {{preview, {100, 9000, 900000}}, 909000},
        {{preview, {92, 900000, 10}, raw}, 69000},
        {{preview, {100, 900000, 10}}, std::nullopt},
        {{preview}, std::nullopt},
    };
    for (const auto& [pieces, size] : cases) {
        Bytes file(mark.begin(), mark.end());
        file.resize(200);
        for (const Piece& piece : pieces) {
            PutNumber(file, piece.place, piece.start, 4, true);
            PutNumber(file, piece.place + 4, piece.length, 4, true);
        }
        EXPECT_EQ(SizeOf(MeasureRaf, file, Behind), size);
        file[8] = '!';
        EXPECT_EQ(SizeOf(MeasureRaf, file, Behind), std::nullopt);
    }
}

// A directory of one section.
void PutX3fDirectory(Bytes& file, std::size_t place, std::uint32_t sectionEnd, std::uint32_t ownPlace) {
    for (const std::uint32_t number : {0x64434553U, 0x20000U, 1U, 40U, sectionEnd - 40, 0x32474D49U, ownPlace}) {
        PutNumber(file, place, number, 4, false);
        place += 4;
    }
}

TEST(Measure, FindsTheDirectoryThatEndsAnX3f) {
    constexpr std::uint32_t piece = 1U << 20U;
    for (const std::uint32_t place : {500U, piece - 2, piece, 2 * piece - 30}) {
        Bytes file = test::Pattern(place);
        PutNumber(file, 0, 0x62564F46, 4, false);
        // One that does not know its place, one whose section passes it, one cut by the medium's end.
        PutX3fDirectory(file, 100, 100, 99);
        PutX3fDirectory(file, 200, 201, 200);
        EXPECT_EQ(SizeOf(MeasureX3f, file), std::nullopt);
        PutX3fDirectory(file, place, place, place);
        EXPECT_EQ(SizeOf(MeasureX3f, file, Behind), place + 28);
        EXPECT_EQ(SizeOf(MeasureX3f, Bytes(file.begin(), file.end() - 1)), std::nullopt);
        file[0] = 'f';
        EXPECT_EQ(SizeOf(MeasureX3f, file, Behind), std::nullopt);
    }
}

}  // namespace

}  // namespace salvor
