#include <gtest/gtest.h>

#include <ostream>
#include <vector>

#include "tests/support/OfficePaperBuilder.h"
#include "tests/support/Scan.h"

namespace test {
namespace {

constexpr std::int32_t One = 96;
constexpr std::int32_t Project = 100;
constexpr std::int32_t Template = 101;
constexpr std::int32_t Drawing = 102;
constexpr std::int32_t Paper = 105;
constexpr std::int64_t None = 0;

// A file before the end of a medium that ends in zeros or in noise, and the size found.
struct Case {
    const char* name;
    std::int32_t type;
    Bytes file;
    std::int64_t size;
};
std::ostream& operator<<(std::ostream& out, const Case& testCase) { return out << testCase.name; }

class OfficePapers : public testing::TestWithParam<Case> {};

TEST_P(OfficePapers, AreFoundWithTheirSizes) {
    Medium medium;
    medium.Put(3, GetParam().file).Grow(400);
    const std::vector<Found> expected =
        GetParam().size == None ? std::vector<Found>{} : std::vector<Found>{{3, GetParam().size}};
    EXPECT_EQ(Scan(GetParam().type, medium, 7), expected);
}

// Padded as the service writes it.
Bytes PaddedPackage() { return Join({OnePackage(), Zeros(700)}); }

Bytes At(const Bytes& file, std::size_t offset, std::uint64_t value, std::size_t width = 2,
         Endian endian = Endian::Little) {
    return Patched(file, offset, NumberOf(value, width, endian));
}

INSTANTIATE_TEST_SUITE_P(
    OneNote, OfficePapers,
    testing::Values(
        Case{"chunk at the end", One, At(OneSection(), 180, 1000, 4), 5000},
        Case{"chunk behind the end", One, At(OneSection(), 180, 1001, 4), None},
        Case{"chunk in the header", One, At(OneSection(), 160, 1023, 8), None},
        Case{"no chunk", One, At(OneSection(), 160, ~std::uint64_t{0}, 8), None},
        Case{"header only", One,
             At(At(At(At(At(OneSection(), 196, 1024, 8), 160, 1024, 8), 168, 0, 4), 172, 1024, 8), 180, 0, 4), 1024},
        Case{"reserved byte in use", One, At(OneSection(), 1023, 1, 1), None},
        Case{"versions of contents", One, At(OneSection(), 76, 0x1B, 4), 5000},
        Case{"unknown version", One, At(OneSection(), 76, 0x2B, 4), None},
        Case{"table of contents", One, At(OneSection(), 0, 0xA1, 1), None},
        Case{"padding left out", One, PaddedPackage(), static_cast<std::int64_t>(OnePackage().size())},
        Case{"end of another type", One, At(OnePackage(), OnePackage().size() - 3, 0x59, 1), None},
        Case{"reserved number in use", One, At(OnePackage(), 64, 1, 1), None}));

INSTANTIATE_TEST_SUITE_P(
    Quark, OfficePapers,
    testing::Values(
        Case{"books", Project, QuarkDocument(0x41, Endian::Little, "BK"), None},
        Case{"a template for the other type", Project, QuarkDocument(0x41, Endian::Little, "TP"), None},
        Case{"unknown letters", Project, QuarkDocument(0x41, Endian::Big, "ZZ"), 5120},
        Case{"first version", Project, At(At(QuarkDocument(0x3C, Endian::Little, ""), 8, 0x38), 10, 0x3C), 5120},
        Case{"too old a version", Project, At(QuarkDocument(0x38, Endian::Little, ""), 8, 0x37), None},
        Case{"one version for several languages", Project, At(QuarkProject(Endian::Little, "XP"), 8, 0x2044),
             12 * 1024},
        Case{"versions far apart", Project, At(QuarkDocument(0x3C, Endian::Little, ""), 10, 0x41), None},
        // The chain breaks after the big block, which reaches to block 10, and after blocks 15 and 16.
        Case{"broken early", Project, At(QuarkDocument(0x3F, Endian::Little, ""), 10 * 256 - 4, 0x7FFFFFFF, 4), None},
        Case{"broken in front of enough blocks", Project,
             At(QuarkDocument(0x3F, Endian::Little, ""), 15 * 256 - 4, 0x7FFFFFFF, 4), None},
        Case{"broken behind enough blocks", Project,
             At(QuarkDocument(0x3F, Endian::Little, ""), 16 * 256 - 4, 0x7FFFFFFF, 4), 4096},
        Case{"circle", Project, At(QuarkDocument(0x3F, Endian::Little, ""), 20 * 256 - 4, 12, 4), 5120},
        Case{"empty big block", Project, At(QuarkDocument(0x3F, Endian::Little, ""), 6 * 256, 0), None},
        Case{"one chain broken", Template, At(QuarkProject(Endian::Little, "XT"), 3 * 1024 - 4, 0x7FFFFFFF, 4),
             12 * 1024},
        Case{"big chain's count broken", Project, At(QuarkProject(Endian::Little, "XP"), 9 * 1024, 0), 6 * 1024},
        Case{"a first block that cannot be", Project, At(QuarkProject(Endian::Little, "XP"), 1024 + 40, 1, 4), None},
        Case{"count and its bytes differ", Project, At(QuarkProject(Endian::Little, "XP"), 1024 + 20, 20, 4), None},
        Case{"header in use", Project, At(QuarkProject(Endian::Little, "XP"), 1023, 1, 1), None},
        Case{"other byte order's mark", Project, Patched(QuarkProject(Endian::Little, "XP"), 2048, BytesOf("IISTLM")),
             None}));

// Bytes 24 to 28 end the version's record, whose fields begin at 14.
INSTANTIATE_TEST_SUITE_P(
    SmartDraw, OfficePapers,
    testing::Values(Case{"broken behind enough records", Drawing, At(SmartDrawing(), 42 + 13 * 50, 0), 42 + 13 * 50},
                    Case{"broken in front of enough records", Drawing, At(SmartDrawing(), 42 + 12 * 50, 0), None},
                    Case{"length beyond all", Drawing, At(SmartDrawing(), 42 + 13 * 50 + 2, 0x7FFFFFFF, 4),
                         42 + 13 * 50},
                    Case{"broken without a header", Drawing, At(At(SmartDrawing(), 40, 0x4003), 42 + 13 * 50, 0), None},
                    Case{"reader newer than the file", Drawing, At(SmartDrawing(), 20, 0x2A), None},
                    Case{"unknown platform", Drawing, At(SmartDrawing(), 18, 21), None},
                    Case{"short version", Drawing, At(SmartDrawing(), 10, 13, 4), None}));

// Foreign bytes after a document of whole sectors: the noise begins at a sector start.
Bytes FollowedBy(const Bytes& paper, std::size_t zeros, const Bytes& other) {
    return Join({paper, Bytes((1024 - zeros) - paper.size(), 'z'), Zeros(zeros), other});
}

INSTANTIATE_TEST_SUITE_P(
    WordPerfect, OfficePapers,
    testing::Values(Case{"noise behind few zeros", Paper, FollowedBy(WordPerfect5(), 3, Noise(7).Random(4096)), 1021},
                    Case{"noise right behind", Paper, FollowedBy(WordPerfect5(), 0, Noise(8).Random(4096)), 1024},
                    Case{"zeros inside the text", Paper, Patched(WordPerfect5(), 980, Zeros(15)), 1000},
                    Case{"many zeros", Paper, Patched(WordPerfect5(), 980, Zeros(16)), 980},
                    Case{"stray codes", Paper, Patched(WordPerfect5(), 940, Bytes(55, 0xD4)), 1000},
                    Case{"indexed data behind the text", Paper, At(WordPerfect5(), 28, 970, 4), 70 + 970},
                    Case{"no index", Paper, At(WordPerfect5(), 16, 0), None},
                    Case{"hardly any text", Paper, Patched(WordPerfect5(), 163, Zeros(16)), None},
                    Case{"encrypted document of release 5", Paper, At(WordPerfect5(), 12, 1), None},
                    Case{"encrypted document of release 6", Paper, At(WordPerfect6(true), 12, 1), 1500},
                    Case{"encrypted document without a length", Paper, At(WordPerfect6(false), 12, 1), None},
                    Case{"length in front of the text", Paper, At(WordPerfect6(true), 20, 599, 4), None},
                    Case{"length at the text", Paper, At(WordPerfect6(true), 20, 600, 4), 600},
                    Case{"no document", Paper, At(WordPerfect6(true), 9, 0x16, 1), None},
                    Case{"area behind the largest file", Paper, At(WordPerfect6(true), 4, 0x2000000, 4), None},
                    Case{"Macintosh, little-endian", Paper, WordPerfectMacintosh(Endian::Little), 1412}));

// A number of the table whose bytes lie in two blocks.
TEST(QuarkProjects, TableGoesThroughBigBlocks) {
    constexpr std::uint32_t inFirst = (1020 - 40) / 4;
    constexpr std::uint32_t inSecond = (2 * 1024 - 6) / 4;
    constexpr std::uint32_t count = inFirst + inSecond + 1;
    Bytes file = Join({QuarkProject(Endian::Little, "XP"), Zeros(8 * 1024)});
    file = At(At(file, 1024, count - 1, 4), 1024 + 8, count, 4);
    file = At(At(At(file, 1024 + 20, 4 * count, 4), 1024 + 24, count, 4), 1024 + 28, 4 * count, 4);
    for (std::uint32_t i = 0; i < inFirst; ++i) {
        file = At(file, 1024 + 40 + 4 * i, 6, 4);
    }
    // Blocks 10 and 11, then 12.
    file = At(At(file, 2 * 1024 - 4, static_cast<std::uint32_t>(-10), 4), 9 * 1024, 2);
    for (std::uint32_t i = 0; i < inSecond; ++i) {
        file = At(file, 9 * 1024 + 2 + 4 * i, 6, 4);
    }
    file = At(At(file, 11 * 1024 - 6, 20), 11 * 1024 - 4, 12, 4);
    Medium medium;
    medium.Put(0, file).Grow(2000);
    EXPECT_EQ(Scan(Project, medium), (std::vector<Found>{{0, 20 * 1024}}));
}

// Each of many headers is followed to the next one only.
TEST(WordPerfectPapers, EndInFrontOfTheNextOne) {
    const Bytes paper = Join({WordPerfect5(), Bytes(24, 'z')});
    Medium medium;
    medium.Put(0, paper).Put(2, paper).Grow(8);
    EXPECT_EQ(Scan(Paper, medium), (std::vector<Found>{{0, 1024}, {2, 1024}}));
}

}  // namespace
}  // namespace test
