#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <optional>
#include <string>

#include "images/KTIFileType.h"
#include "tests/support/Scan.h"
#include "tests/support/TiffBuilder.h"

namespace {

using namespace std::string_literals;
using namespace test;
using Fields = std::vector<TiffField>;

constexpr std::uint16_t Byte = TiffByte;
constexpr std::uint16_t Ascii = TiffAscii;
constexpr std::uint16_t Short = TiffShort;
constexpr std::uint16_t Long = TiffLong;
constexpr std::uint16_t Float = 11;

constexpr std::int32_t Orf = FileTypeIndex::Orf;
constexpr std::int32_t Tif = FileTypeIndex::Tiff;

Bytes TiffOf(const Fields& fields, bool bigEndian = false) {
    TiffBuilder builder(bigEndian);
    builder.AppendDirectory(fields);
    return builder.File();
}

// Overwrites a file at an offset, padding it with zeros if it is shorter.
Bytes With(Bytes file, std::size_t offset, const std::string& text) {
    file.resize(std::max(file.size(), offset + text.size()));
    std::ranges::copy(text, file.begin() + static_cast<std::ptrdiff_t>(offset));
    return file;
}

Finds ScanFile(std::int32_t index, const Bytes& file, std::int32_t sectorSize = 512, std::int64_t maxSize = 0) {
    Medium medium(sectorSize);
    medium.Put(3, file);
    return Scan(index, medium, 0, maxSize);
}

// The size of the only find; nothing else is found.
std::optional<std::int64_t> SizeOf(std::int32_t index, const Bytes& file) {
    const Finds finds = ScanFile(index, file);
    EXPECT_LE(finds.size(), 1U);
    return finds.empty() ? std::nullopt : std::optional(finds[0].size);
}

TEST(Tiff, TakesWellFormedFirstDirectoriesOnly) {
    const Fields many(128, {256, Short, {1}});
    Fields tooMany = many;
    tooMany.push_back(many[0]);
    const struct {
        Fields fields;
        bool isFound;
    } cases[] = {{{}, true},
                 {many, true},
                 {tooMany, false},
                 {{{256, Short, {1}}, {256, Short, {1}}, {257, Short, {1}}}, true},
                 {{{256, Short, {1}}, {273, Short, {1}}, {258, Short, {1}}}, false},
                 {{{256, 0, {}}, {257, 12, {}}}, true},
                 {{{256, 13, {}}}, false}};
    for (const auto& tested : cases) {
        for (const bool bigEndian : {false, true}) {
            EXPECT_EQ(SizeOf(Tif, TiffOf(tested.fields, bigEndian)).has_value(), tested.isFound)
                << "case " << &tested - cases << (bigEndian ? ", MM" : ", II");
        }
    }
    // The greatest offset of the directory, and one byte more.
    const Bytes directory = TiffOf({{273, Long, {8}}, {279, Long, {1000}}});
    const std::string entries(directory.begin() + 8, directory.end());
    EXPECT_EQ(SizeOf(Tif, With(BytesOf("II*\0\0\0\x40\1"s), 0x1400000, entries)), 1008);
    EXPECT_EQ(SizeOf(Tif, With(BytesOf("II*\0\1\0\x40\1"s), 0x1400001, entries)), std::nullopt);
    EXPECT_EQ(ScanFile(Tif, directory, 7), Finds{});
    EXPECT_EQ(ScanFile(Tif, directory, 8), (Finds{{3, 1008}}));
}

TEST(Tiff, ASizeIsTheEndOfTheStripByTheLastLongNumbers) {
    const TiffField count{279, Long, {1000}};
    const struct {
        Fields fields;
        std::int64_t size;
    } cases[] = {{{{273, Long, {8}}, count}, 1008},
                 {{{256, Long, {77}}, {257, Short, {5}}, {273, Short, {8}}, count}, 1077},
                 {{{256, Float, {77}}, {273, Long, {8, 9}}, count}, 1077},
                 {{{2, Long, {77}}, {273, Short, {8}}, count}, 1077},
                 {{{273, Short, {8}}, count}, 1000},
                 {{{273, Long, {8}}}, 1008},
                 {{{279, Short, {1}}}, 8},
                 {{}, 8},
                 {{{273, Long, {0x7FFFFFFF}}, {279, Long, {1}}}, -0x80000000LL},
                 {{{273, Long, {0x0C800000}}, {279, Long, {1}}}, 0x0C800000}};
    for (const auto& tested : cases) {
        // Fields that a directory lacks keep their value from the case before.
        EXPECT_EQ(SizeOf(Tif, TiffOf(tested.fields)), tested.size) << "case " << &tested - cases;
    }
    EXPECT_EQ(ScanFile(Tif, TiffOf(cases[0].fields), 512, 10), (Finds{{3, 1008}}))
        << "the type's cap is not the engine's";
}

TEST(Tiff, KindsAreToldByTagAndTexts) {
    const Fields plain{{273, Long, {8}}, {279, Long, {1000}}};
    const struct {
        Bytes file;
        std::vector<std::int32_t> types;
    } cases[] = {{With(TiffOf(plain), 4089, "PENTAX"), {56}},
                 {With(TiffOf(plain), 4090, "PENTAX"), {60}},
                 {With(TiffOf(plain), 4090, "NIKON"), {54}},
                 {With(TiffOf(plain), 4091, "NIKON"), {60}},
                 {With(TiffOf(plain), 4090, ".DCR\0"s), {52}},
                 {With(TiffOf(plain), 4091, ".DCR\0"s), {60}},
                 {With(TiffOf(plain), 4090, "SONY\0"s), {59, 106}},
                 {With(TiffOf(plain), 4091, "SONY\0"s), {60}},
                 {With(TiffOf(plain), 300, "nikon, Pentax, SONY1, .DCR "), {60}},
                 {With(TiffOf(plain), 300, "SONY\0.DCR\0NIKON PENTAX"s), {56}},
                 {With(TiffOf(plain), 300, "SONY\0.DCR\0NIKON"s), {54}},
                 {With(TiffOf(plain), 300, "SONY\0.DCR\0"s), {52}},
                 {With(TiffOf({{50706, Byte, {1, 4, 0, 0}}}), 300, "NIKON"), {81}}};
    for (const auto& tested : cases) {
        for (const std::int32_t index : {52, 54, 56, 59, 60, 81, 106}) {
            const bool isFound = std::ranges::find(tested.types, index) != tested.types.end();
            const std::int64_t size = index == Tif ? 1008 : 0;
            EXPECT_EQ(ScanFile(index, tested.file), isFound ? (Finds{{3, size}}) : Finds{})
                << "case " << &tested - cases << ", type " << index;
        }
    }
    // No type takes a file with the mark of another raw, before any text is looked at.
    TiffBuilder cr2(false, BytesOf("CR\2\0"s));
    cr2.AppendDirectory(plain);
    EXPECT_EQ(SizeOf(Tif, cr2.File()), std::nullopt);
    EXPECT_EQ(SizeOf(FileTypeIndex::Nef, With(cr2.File(), 300, "NIKON")), std::nullopt);
}

TEST(Tiff, KeepsWhatTheDirectorySays) {
    const TiffFields& fields = SharedEngine<KTIFileType>().Fields();
    const auto text = [](const auto& field) {
        return std::string(field.data());
    };
    SizeOf(Tif, TiffOf({{2, Long, {0x12345}},
                        {256, Short, {1}},
                        {271, Ascii, {'A', 'b', 'c'}},
                        {272, Byte, {'x', 'y', 'z', 'w'}},
                        {305, Ascii, {'v', '1'}}}));
    EXPECT_EQ(fields.imageWidth, 0x2345U);
    EXPECT_EQ(text(fields.texts.make), "Abc");
    EXPECT_EQ(text(fields.texts.model), "xyzw");
    EXPECT_EQ(text(fields.texts.software), "v1");
    EXPECT_EQ(text(fields.texts.dateTime), "v1") << "as the software";
    SizeOf(Tif, TiffOf({{271, Ascii, {'A', 'b', 'c', 0}}, {305, Short, {0x4241, 0x4443}}, {306, Ascii, {'t'}}}));
    EXPECT_EQ(text(fields.texts.make), "") << "too long for the entry";
    EXPECT_EQ(text(fields.texts.model), "xyzw") << "of the file before";
    EXPECT_EQ(text(fields.texts.software), "ABCD");
    EXPECT_EQ(text(fields.texts.dateTime), "t");
}

TEST(Tiff, TheEnginesResetKeepsTheBlockAndItsFinds) {
    Medium medium;
    medium.Put(1, TiffOf({{273, Long, {8}}, {279, Long, {1000}}})).Put(5, TiffOf({}));
    SectorBlock block = BlockOf(medium);
    KTIFileType engine;
    const auto scan = [&](std::int64_t firstSector) {
        block.firstSector = firstSector;
        RecordingSink sink;
        engine.ScanForKind(&block, &sink, KTIFileType::Tif);
        std::vector<std::int64_t> sizes;
        std::ranges::transform(sink.finds, std::back_inserter(sizes), &Found::size);
        return sizes;
    };
    using Sizes = std::vector<std::int64_t>;
    EXPECT_EQ(scan(0), Sizes{}) << "a first block that starts at 0 counts as scanned";
    engine.SetMaxFileSize(900);
    EXPECT_EQ(scan(1), (Sizes{900, 900}));
    medium.Put(1, TiffOf({}));
    EXPECT_EQ(engine.BeginScan(), 1);
    EXPECT_EQ(scan(1), (Sizes{900, 900}));
    EXPECT_EQ(scan(0), (Sizes{0, 0})) << "no strip any more";
}

Bytes OrfOf(const Fields& fields, const std::string& maker = "Olympus", std::size_t makerOffset = 400) {
    return With(With(TiffOf(fields), 0, "IIRS"), makerOffset, maker);
}

TEST(Orf, IsSizedByTheJpegOfThisOrAnEarlierFile) {
    const Fields jpeg{{513, Long, {5000}}, {514, Long, {20000}}};
    EXPECT_EQ(SizeOf(Orf, OrfOf(jpeg, "oLYMPUs", 8184)), 25000);
    EXPECT_EQ(SizeOf(Orf, OrfOf(jpeg, "OLYMPUS", 8185)), std::nullopt);
    EXPECT_EQ(ScanFile(Orf, OrfOf(jpeg), 15), Finds{});
    EXPECT_EQ(ScanFile(Orf, OrfOf(jpeg), 16), (Finds{{3, 25000}}));

    Medium medium;
    medium.Put(0, OrfOf({{2, Short, {7}}}));
    // The second entry fails; the first one counts.
    medium.Put(20, OrfOf({{513, Long, {300}}, {514, 13, {}}}));
    medium.Put(40, OrfOf(jpeg)).Put(60, OrfOf({}));
    // The end wraps at 32 bits and is negative, here and for the file after it.
    medium.Put(80, OrfOf({{513, Long, {0x7FFFFFFF}}, {514, Long, {1}}})).Put(100, OrfOf({}));
    medium.Put(120, OrfOf({{513, Long, {0x7FFFFFFF}}, {514, Long, {0x80000005}}})).Grow(140);
    // Each scan starts with no JPEG.
    EXPECT_EQ(ScanAtEverySplit(Orf, medium), (Finds{{0, 0}, {20, 300}, {40, 25000}, {60, 25000}, {120, 4}}));
    EXPECT_EQ(ScanFile(Orf, OrfOf(jpeg), 512, 8), (Finds{{3, 8}})) << "the directory is at the cap";
    EXPECT_EQ(ScanFile(Orf, OrfOf(jpeg), 512, 7), (Finds{{3, 0}})) << "the directory is beyond the cap";
}

TEST(OtherRaws, AreKnownByTheirMarks) {
    const struct {
        std::int32_t index;
        std::string mark;
        std::int32_t leastSectorSize;
    } cases[] = {
        {FileTypeIndex::Raf, "FUJIFILM", 8}, {FileTypeIndex::Rdc, "DSC-Image", 8}, {FileTypeIndex::X3f, "FOVb....", 8}};
    for (const auto& [index, mark, leastSectorSize] : cases) {
        // Four in a row; the mark may reach into the next sector, but not beyond the block.
        Medium medium(512);
        medium.Put(1, mark).Put(2, mark).Put(3, mark.substr(0, 3) + "~").Put(4, mark);
        EXPECT_EQ(ScanAtEverySplit(index, medium), (Finds{{1, 0}, {2, 0}, {4, 0}})) << index;
        EXPECT_EQ(ScanFile(index, BytesOf(mark), leastSectorSize), (Finds{{3, 0}})) << index;
        EXPECT_EQ(ScanFile(index, BytesOf(mark), leastSectorSize - 1), Finds{}) << index;
        EXPECT_EQ(ScanFile(index, BytesOf(mark), 512, -5), (Finds{{3, -5}})) << index;
    }
    Medium cut(8);
    cut.Put(0, "DSC-Image");
    EXPECT_EQ(Scan(FileTypeIndex::Rdc, cut, 1), Finds{});
}

TEST(OtherRaws, MinoltaFilesEndWithThePixels) {
    const auto header = [](const std::string& length, const std::string& height, const std::string& width, char bits) {
        return BytesOf("\0MRM"s + length + "\0PRD"s + std::string(12, 'x') + height + width + "xxxx" + bits);
    };
    const Bytes file = header("\0\0\1\0"s, "\x07\xD0", "\x0B\xB8", 12);
    EXPECT_EQ(ScanFile(FileTypeIndex::Mrw, file, 34), (Finds{{3, 9000264}}));
    EXPECT_EQ(ScanFile(FileTypeIndex::Mrw, file, 33), Finds{});
    // Rounded up to whole bytes; at the cap; from 2 GiB on; beyond 4 GiB.
    EXPECT_EQ(SizeOf(FileTypeIndex::Mrw, header("\0\0\0\0"s, "\0\3"s, "\0\3"s, 1)), 10);
    EXPECT_EQ(SizeOf(FileTypeIndex::Mrw, header("\x7F\xFF\xFF\xF7", "\0\0"s, "\0\0"s, 12)), 0xC800000);
    EXPECT_EQ(SizeOf(FileTypeIndex::Mrw, header("\x7F\xFF\xFF\xF8", "\0\0"s, "\0\0"s, 12)), std::nullopt);
    EXPECT_EQ(SizeOf(FileTypeIndex::Mrw, header("\xFF\xFF\xFF\xFF", "\0\0"s, "\0\0"s, 12)), 7);
}

}  // namespace
