#include <gtest/gtest.h>

#include <functional>

#include "formats/TiffTags.h"
#include "formats/TiffWalk.h"
#include "tests/host/validators/TestPlace.h"
#include "tests/support/TiffBuilder.h"

namespace salvor {

namespace {

using namespace test;
constexpr std::uint16_t Short = TiffType::Short;
constexpr std::uint16_t Long = TiffType::Long;
constexpr std::uint16_t Undefined = 7;

// The end of a file that is followed by `behind` bytes.
std::optional<std::int64_t> EndOf(const Bytes& file, std::size_t behind = 0) {
    return LookAt(file, Pattern(behind, 2), {}, [](Place& place) -> std::optional<std::int64_t> {
        const std::optional<TiffFile> tiff = WalkTiff(place);
        if (!tiff) {
            return std::nullopt;
        }
        std::int64_t end = 0;
        for (const TiffFile::Extent& extent : tiff->extents) {
            end = extent.start < place.Limit() ? std::max(end, extent.End()) : end;
        }
        return end;
    });
}

constexpr std::size_t Behind = 200000;

struct TiffCase {
    const char* what;
    // Builds the first directory and gives its offset.
    std::function<std::uint32_t(::test::TiffBuilder&)> build;
    std::int64_t size;
};

std::vector<TiffCase> TiffCases() {
    const auto one = [](std::vector<::test::TiffField> fields) {
        return [fields = std::move(fields)](::test::TiffBuilder& tiff) {
            return tiff.Add(fields);
        };
    };
    const std::vector<::test::TiffField> deep{{273, Long, {90000}}, {279, Long, {77}}};
    const std::vector<::test::TiffField> picture{{256, Long, {100}}, {257, Long, {25}}, {258, Short, {8, 8, 8}},
                                                 {259, Short, {1}},  {277, Short, {3}}, {278, Short, {10}}};
    const auto with = [&](std::vector<::test::TiffField> more) {
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
        {"values outside of the directory", one({{37500, Undefined, {70000}, 5000}}), 75000},
        {"strips without lengths", with({{273, Long, {4000, 8000, 12000}}}), 12000 + 5 * 300},
        {"planes of strips without lengths", with({{273, Long, {1, 2, 3, 4, 5, 6, 7, 9000, 9500}}, {284, Short, {2}}}),
         9000 + 10 * 100},
        {"compressed strips without lengths", one({{257, Long, {1}}, {259, Short, {5}}, {273, Long, {4000}}}), 50},
        {"data that pass the medium's end", one({{273, Long, {200000}}, {279, Long, {4000000000}}}), 4000200000},
        {"data behind the medium's end", one({{273, Long, {4000000000}}, {279, Long, {9}}}), 38},
        {"too many values", one({{273, Long, {0}, 0x40000001}, {279, Long, {50}, 0x40000001}}),
         50 + 4 * std::int64_t{0x40000001}},
        {"a directory in one in the chain",
         [=](::test::TiffBuilder& tiff) {
             const std::uint32_t inner = tiff.Add(deep);
             const std::uint32_t outer = tiff.Add({{330, TiffType::Directory, {9, inner}}});
             return tiff.Add({{256, Long, {1}}}, outer);
         },
         90077},
        {"the directory behind a directory in one",
         [=](::test::TiffBuilder& tiff) {
             const std::uint32_t inner = tiff.Add({{256, Long, {1}}}, tiff.Add(deep));
             return tiff.Add({{330, Long, {inner}}});
         },
         90077},
        {"interoperability in exif",
         [=](::test::TiffBuilder& tiff) {
             return tiff.Add({{34665, Long, {tiff.Add({{40965, Long, {tiff.Add(deep)}}})}}});
         },
         90077},
        {"nothing behind exif",
         [=](::test::TiffBuilder& tiff) {
             const std::uint32_t exif = tiff.Add({{1, Long, {1}}}, tiff.Add(deep));
             return tiff.Add({{34665, Long, {exif}}});
         },
         8 + 30 + 18 + 18},
        {"encrypted data of a maker's directory",
         [=](::test::TiffBuilder& tiff) {
             const std::uint32_t own = tiff.Add({{0x7200, Long, {50000}}, {0x7201, Long, {1234}}});
             return tiff.Add({{50740, Long, {own}}});
         },
         51234},
        {"a loop",
         [=](::test::TiffBuilder& tiff) {
             const std::uint32_t first = tiff.Next();
             tiff.Add({{256, Long, {1}}}, first + 18);
             return tiff.Add({{330, Long, {first + 18}}, {34665, Long, {first}}}, first);
         },
         8 + 18 + 30},
        // The noise after the file is no directory.
        {"a wrong pointer", one({{256, Long, {1}}, {330, Long, {100000, 5}}}), 8 + 8 + 30},
    };
}

TEST(TiffWalk, FindsTheFurthestEnd) {
    for (const bool isBig : {false, true}) {
        for (const TiffCase& one : TiffCases()) {
            ::test::TiffBuilder tiff(isBig);
            const std::uint32_t first = one.build(tiff);
            Bytes file = tiff.Finish(first);
            EXPECT_EQ(EndOf(file, Behind), one.size) << one.what;
            // The letters that one maker writes in place of the number.
            const std::string mark = isBig ? "MMOR" : "IIRS";
            std::copy(mark.begin(), mark.end(), file.begin());
            EXPECT_EQ(EndOf(file, Behind), one.size) << one.what;
        }
    }
}

TEST(TiffWalk, TakesNothingElse) {
    ::test::TiffBuilder tiff;
    const Bytes good = tiff.Finish(tiff.Add({{256, Long, {1}}, {257, Long, {1}}}));
    ASSERT_EQ(EndOf(good), 38);
    struct Change {
        std::size_t place;
        std::uint8_t value;
    };
    // Another number; a link into the header, to nothing and to zeros; no entry, too many, types that do not exist.
    for (const auto [place, value] :
         {Change{2, 43}, Change{4, 4}, Change{4, 38}, Change{4, 35}, Change{8, 0}, Change{9, 5}, Change{12, 14}}) {
        Bytes bad = good;
        bad[place] = value;
        EXPECT_EQ(EndOf(bad), std::nullopt) << place;
    }
    EXPECT_EQ(EndOf(Bytes(good.begin(), good.begin() + 7)), std::nullopt);
    EXPECT_EQ(EndOf(Bytes(good.begin(), good.begin() + 33)), std::nullopt);
}

}  // namespace

}  // namespace salvor
