#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/DrawingBuilder.h"
#include "tests/support/Scan.h"

namespace {

using namespace std::string_literals;
using namespace test;

struct Case {
    const char* what;
    std::int32_t index;
    Bytes file;
    /// 0: no find.
    std::int64_t size;
};

// Each file is followed by zeros to the end of its sector, and then by noise.
void ExpectSizes(const std::vector<Case>& cases) {
    Noise noise(7);
    for (const Case& tested : cases) {
        Medium medium;
        medium.Put(2, tested.file);
        medium.Put(medium.SectorCount(), noise.Random(0x4000));
        const std::vector<Found> expected =
            tested.size == 0 ? std::vector<Found>{} : std::vector<Found>{{2, tested.size}};
        EXPECT_EQ(Scan(tested.index, medium), expected) << tested.what;
    }
}

std::int64_t SizeOf(const Bytes& file) { return static_cast<std::int64_t>(file.size()); }

Bytes Word(std::uint32_t value) { return Little(value); }

TEST(Drawings, DwgEndsWithItsFurthestPartOrSaysWhere) {
    const Bytes sections = DwgFile("AC1006");
    const Bytes auxiliary = DwgFile("AC1009");
    const Bytes located = DwgFile("AC1015");
    const Bytes noPreview = Patched(located, 0x260, {0});
    const Bytes noLast = Patched(noPreview, 0x19 + 4 * 9 + 5, Word(0));
    const Bytes copied = DwgFile("AC1018");
    const Bytes compressed = DwgFile("AC1021");
    ExpectSizes({
        {"release before 2.1", FileTypeIndex::Dwg, Patched(sections, 0, BytesOf("AC1.50")), 0},
        {"unknown release", FileTypeIndex::Dwg, Patched(sections, 0, BytesOf("AC1005")), 0},
        {"text goes on", FileTypeIndex::Dwg, Patched(sections, 10, {1}), 0},
        {"entities too early", FileTypeIndex::Dwg, Patched(sections, 0x14, Word(0x1FF)), 0},
        {"entities end in the blocks", FileTypeIndex::Dwg, Patched(sections, 0x18, Word(0x301)), 0},
        {"entities end before they start", FileTypeIndex::Dwg, Patched(sections, 0x18, Word(0x1FF)), 0},
        {"blocks end last", FileTypeIndex::Dwg, Patched(sections, 0x20, Word(0x80000300)), 0x600},
        {"auxiliary header moved", 36,
         Join({Bytes(auxiliary.begin(), auxiliary.begin() + 0x480),
               Zeros(1024),
               {auxiliary.begin() + 0x480, auxiliary.end()}}),
         SizeOf(auxiliary) + 1024},
        {"auxiliary header missing", FileTypeIndex::Dwg, Patched(auxiliary, auxiliary.size() - 1, {0}), 0x480},
        {"last record", FileTypeIndex::Dwg, noPreview, 0x244},
        {"second header", FileTypeIndex::Dwg, noLast, 0x240},
        {"object map", FileTypeIndex::Dwg, Patched(noLast, 0x230, {0}), 0x200},
        {"preview inside the header", FileTypeIndex::Dwg, Patched(located, 0x0D, Word(0x57)), 0x244},
        {"two records", FileTypeIndex::Dwg, Patched(located, 0x15, Word(2)), 0},
        {"seven records", FileTypeIndex::Dwg, Patched(located, 0x15, Word(7)), 0},
        {"no sentinel", FileTypeIndex::Dwg, Patched(located, 0x19 + 5 * 9 + 2, {0}), 0},
        {"code page", FileTypeIndex::Dwg, Patched(located, 0x13, Little(std::uint16_t{100})), 0},
        {"second copy damaged", FileTypeIndex::Dwg, Patched(copied, 0x440, Zeros(8)), 0x46C},
        {"header damaged", FileTypeIndex::Dwg, Patched(copied, 0x83, {0}), 0},
        {"size field differs", FileTypeIndex::Dwg, Patched(compressed, 0x80 + (32 + 1) % 239 * 3, {9}), 0},
        {"compressed data too short", FileTypeIndex::Dwg, Patched(compressed, 0x80 + 24 * 3, {5}), 0},
    });
    // Stored: the numbers follow the length uncompressed, in every third byte.
    Bytes stored = Patched(compressed, 0x80, Zeros(717));
    const auto putStored = [&stored](std::size_t offset, const Bytes& value) {
        for (std::size_t i = 0; i < value.size(); ++i) {
            stored[0x80 + (offset + i) * 3] = value[i];
        }
    };
    putStored(24, Word(static_cast<std::uint32_t>(-0x70)));
    putStored(32, Big(std::uint8_t{0x70}));
    putStored(40, Word(0x1200));
    putStored(32 + 0x48, Word(0x1200 - 0x880));
    ExpectSizes({{"stored header", FileTypeIndex::Dwg, stored, 0x1200}});
    putStored(32, Big(std::uint8_t{0x71}));
    ExpectSizes({{"first number", FileTypeIndex::Dwg, stored, 0}});
}

TEST(Drawings, RowsOfBlocksEndWhereNoneFollows) {
    const Bytes paint = PspFile(5);
    const Bytes canvas = OciFile();
    const Bytes scene = MbFile(true);
    const Bytes noLayers = Patched(paint, 36 + 10 + 46 + 10 + 20 + 4, Little(std::uint16_t{7}));
    ExpectSizes({
        {"one block", FileTypeIndex::Psp, Patched(paint, 36 + 56, {0}), 0},
        {"two blocks", FileTypeIndex::Psp, Patched(noLayers, 36 + 56 + 30, {0}), 0},
        {"attributes too long", FileTypeIndex::Psp, Patched(paint, 36 + 6, Word(1025)), 0},
        {"block too long", FileTypeIndex::Psp, Patched(paint, 36 + 56 + 30 + 6, Word(0x40000000)), 0},
        {"block behind the layers too long", FileTypeIndex::Psp,
         Join({paint, BytesOf("~BK\0\x02\0"s), Word(0x40000000)}), SizeOf(paint)},
        {"block of no known kind, without layers", FileTypeIndex::Psp,
         Join({noLayers, BytesOf("~BK\0\x41\0"s), Word(1)}), 0},
        {"two chunks", FileTypeIndex::Oci, Patched(canvas, 0x38 + 608, {0}), 0},
        {"chunk too long", FileTypeIndex::Oci, Join({canvas, BytesOf("OXXX"), Word(0x10000000)}), SizeOf(canvas)},
        {"the next picture follows", FileTypeIndex::Oci, Join({canvas, canvas}), SizeOf(canvas)},
        {"second chunk no chunk", FileTypeIndex::Oci, Patched(canvas, 0x39, {'l'}), 0},
        {"image, not a scene", FileTypeIndex::Mb, Patched(scene, 16, BytesOf("CIMG")), 0},
        {"head longer than the scene", FileTypeIndex::Mb, Patched(scene, 28, Big(std::uint64_t{1000})), 0},
        {"second group broken", FileTypeIndex::Mb, Patched(scene, 20 + 60, {0}), 0},
        {"groups behind the third broken", 88,
         Patched(Join({scene, Zeros(20)}), 8, Big(std::uint64_t{scene.size() + 4})), SizeOf(scene) + 20},
    });
}

TEST(Drawings, CasioAreasAreThereAndArePictures) {
    const Bytes file = CamFile();
    const auto stripped = [&file](std::uint16_t scan) {
        return Patched(Patched(file, 6, Big(std::uint16_t{3})), 38,
                       Join({Big(std::uint16_t{3}), Big(scan), Big(std::uint16_t{200}), Big(std::uint16_t{300})}));
    };
    ExpectSizes({
        {"area twice", FileTypeIndex::Cam, Patched(file, 22, Big(std::uint16_t{4})), 0},
        {"area 33", FileTypeIndex::Cam, Patched(file, 22, Big(std::uint16_t{33})), 0},
        {"comment only", FileTypeIndex::Cam, Patched(file, 6, Big(std::uint16_t{2})), 0},
        {"no JPEG", FileTypeIndex::Cam, Patched(file, 39, {0}), 0},
        {"stripped JPEG", FileTypeIndex::Cam, stripped(364), SizeOf(file)},
        {"scans longer than the area", FileTypeIndex::Cam, stripped(365), 0},
        {"no areas", FileTypeIndex::Cam, Patched(file, 4, Big(std::uint16_t{0})), 0},
        {"area of 16 MiB", FileTypeIndex::Cam, Patched(file, 24, Big(std::uint32_t{0x1000000})), 0},
    });
    Medium medium;
    medium.Put(0, file);
    EXPECT_EQ(Scan(FileTypeIndex::Cam, medium, 0, 300), (std::vector<Found>{{0, 300}}));
}

TEST(Drawings, CdrIsARiffFileOrAPackage) {
    const Bytes riff = CdrFile();
    const Bytes package = CdrPackage(ZipSizes::InDescriptor);
    const Bytes old = Patched(Patched(riff, 8, BytesOf("CDR DISP")), 16, Word(2));
    const std::size_t lastChunk = riff.size() - 68;
    ExpectSizes({
        {"template", FileTypeIndex::Cdr, Patched(riff, 8, BytesOf("CDT6")), SizeOf(riff)},
        {"version 3", FileTypeIndex::Cdr, old, SizeOf(riff)},
        {"version 3 broken", FileTypeIndex::Cdr, Patched(old, lastChunk, {0}), 0},
        {"clip art", FileTypeIndex::Cdr, Patched(riff, 8, BytesOf("CDRXcont")), 0},
        {"version 2.99", FileTypeIndex::Cdr, Patched(riff, 20, Little(std::uint16_t{299})), 0},
        {"version 14", FileTypeIndex::Cdr, Patched(riff, 20, Little(std::uint16_t{1400})), 0},
        {"broken behind the list", FileTypeIndex::Cdr, Patched(riff, lastChunk, {0}), SizeOf(riff)},
        {"broken in front of it", FileTypeIndex::Cdr, Patched(riff, 22, {0}), 0},
        {"chunk longer than the file", FileTypeIndex::Cdr, Patched(riff, lastChunk + 4, Word(62)), 0},
        {"pad byte left out", 38,
         Patched(Patched(riff, lastChunk + 4, Word(59)), 4, Word(static_cast<std::uint32_t>(riff.size() - 9))),
         SizeOf(riff) - 1},
        {"size behind the data", FileTypeIndex::Cdr, package, SizeOf(package)},
        {"the same without a signature", FileTypeIndex::Cdr, CdrPackage(ZipSizes::InBareDescriptor),
         SizeOf(package) - 4},
        {"comment", FileTypeIndex::Cdr, Join({Patched(package, package.size() - 2, {5}), BytesOf("notes")}),
         SizeOf(package) + 5},
        {"later version's template", FileTypeIndex::Cdr,
         CdrPackage(ZipSizes::InHeader, "application/x-vnd.corel.zcf.draw.template+zip"), SizeOf(package) - 12},
        {"another program's", FileTypeIndex::Cdr,
         CdrPackage(ZipSizes::InHeader, "application/x-vnd.corel.designer.document+zip"), 0},
        {"no end record", FileTypeIndex::Cdr, Patched(package, package.size() - 20, {0}), 0},
    });
}

TEST(Drawings, CrwEndsBehindTheDirectoryThatKnowsItsPlace) {
    const Bytes mark = BytesOf("CANON OPTIONAL DATA\0"s);
    const Bytes trailer = Patched(Patched(Zeros(0x5C + 100), 0, mark), 0x1C + 100, mark);
    // The directory begins in one piece that is read ahead and ends in the next, or straddles the end of the search.
    for (const std::size_t rawBytes : {2000U, 0x10000U - 100, 0x10000U - 120, 0x20000U - 800}) {
        const Bytes file = CrwFile(rawBytes);
        const std::size_t root = file.size() - 36;
        ExpectSizes({
            {"whole", FileTypeIndex::Crw, file, SizeOf(file)},
            {"trailer", FileTypeIndex::Crw, Join({file, Patched(trailer, 0x18, Big(std::uint32_t{100}))}),
             SizeOf(file) + SizeOf(trailer)},
            {"padded trailer", FileTypeIndex::Crw, Join({file, {' '}, Patched(trailer, 0x18, Big(std::uint32_t{100}))}),
             SizeOf(file) + 1 + SizeOf(trailer)},
            {"no picture", FileTypeIndex::Crw, Patched(file, root + 2, {0x06}), 0},
            {"no properties", FileTypeIndex::Crw, Patched(file, root + 12, {0x0B}), 0},
            {"values overlap", FileTypeIndex::Crw,
             Patched(file, root + 12 + 6, Word(static_cast<std::uint32_t>(rawBytes) - 1)), 0},
            {"value reaches the directory", FileTypeIndex::Crw, Patched(file, root + 12 + 2, Word(61)), 0},
        });
    }
    const Bytes small = CrwFile(512 - 26 - 60 - 36);
    ExpectSizes({{"512 bytes", FileTypeIndex::Crw, small, 512},
                 {"511 bytes", FileTypeIndex::Crw, CrwFile(512 - 26 - 60 - 37), 0}});
    Medium medium(17);
    medium.Put(0, small).Grow(5000);
    EXPECT_EQ(Scan(FileTypeIndex::Crw, medium), (std::vector<Found>{{0, 512}}));
    // Nothing but the block can be read.
    Medium alone;
    alone.Put(0, CrwFile(5000));
    SectorBlock block = BlockOf(alone);
    block.source = nullptr;
    RecordingSink sink;
    CreateType(FileTypeIndex::Crw)->ScanBlock(&block, &sink);
    EXPECT_EQ(sink.finds.size(), 1U);
    Medium narrow(16);
    narrow.Put(0, small).Grow(5000);
    EXPECT_EQ(Scan(FileTypeIndex::Crw, narrow), std::vector<Found>{});
}

TEST(Drawings, XcfPartsFollowOneAnother) {
    const Bytes file = XcfWithEffects();
    const std::size_t lists = 30 + 9 + 8;
    const std::size_t layer = lists + 40;
    ExpectSizes({
        {"CinePaint", 62, Patched(file, 9, BytesOf("v100")), 0},
        {"base type", 62, Patched(file, 22, Big(std::uint32_t{3})), 0},
        {"layer in front of the lists' end", 62, Patched(file, lists, Big(std::uint64_t{layer - 1})), 0},
        {"layer's type", 62, Patched(file, layer + 8, Big(std::uint32_t{6})), 0},
        {"path in front of the layer", 62, Patched(file, lists + 24, Big(std::uint64_t{layer})), 0},
        {"run longer than the tile", 62, Patched(file, layer + 12 + 8 + 8 + 32 + 28 + 24, {0x14}), 0},
    });
}

Bytes Photoshop(std::uint16_t version, std::uint16_t depth, std::uint16_t compression, const Bytes& rows) {
    return Join({BytesOf("8BPS"), Big(version), Zeros(6), Big(std::uint16_t{2}), Big(std::uint32_t{3}),
                 Big(std::uint32_t{9}), Big(depth), Big(std::uint16_t{1}), Big(std::uint32_t{0}),
                 Big(std::uint32_t{300}), Patched(Zeros(300), 0, BytesOf("8BIM")), Zeros(version == 2 ? 8 : 4),
                 Big(compression), rows});
}

TEST(Drawings, PhotoshopRowsHaveTheLengthThatTheirFormGives) {
    constexpr std::int64_t front = 26 + 4 + 4 + 300 + 4 + 2;
    Bytes lengths;
    for (const std::uint16_t length : {std::uint16_t{1}, std::uint16_t{274}, std::uint16_t{2}, std::uint16_t{2},
                                       std::uint16_t{2}, std::uint16_t{2}}) {
        lengths = Join({lengths, Big(length)});
    }
    const Bytes packed = Photoshop(1, 8, 1, Join({lengths, Zeros(283)}));
    ExpectSizes({
        {"one bit", FileTypeIndex::Psd, Photoshop(1, 1, 0, Zeros(12)), front + 2 * 6},
        {"large", FileTypeIndex::Psd, Photoshop(2, 16, 0, Zeros(108)), front + 4 + 18 * 6},
        {"packed", FileTypeIndex::Psd, packed, front + 12 + 283},
        {"row too long", FileTypeIndex::Psd, Patched(packed, front + 2, Big(std::uint16_t{275})), 0},
        {"ZIP", FileTypeIndex::Psd, Photoshop(1, 8, 2, Zeros(100)), 0},
        {"no resource", FileTypeIndex::Psd, Patched(packed, 34, {'x'}), 0},
        {"depth", FileTypeIndex::Psd, Photoshop(1, 4, 0, Zeros(100)), 0},
        {"mode", FileTypeIndex::Psd, Patched(packed, 24, Big(std::uint16_t{5})), 0},
        {"channels", FileTypeIndex::Psd, Patched(packed, 12, Big(std::uint16_t{100})), 0},
        {"width", FileTypeIndex::Psd, Patched(packed, 18, Big(std::uint32_t{30001})), 0},
    });
}

TEST(Drawings, DxfEndsWithItsLastPair) {
    const std::string start = "  0\r\nSECTION\r\n  2\r\nENTITIES\r\n";
    const std::string text = start + "  1\r\n" + std::string(300, 't') + "\r\n  3\r\nEOF\r\n";
    const std::string end = "  0\r\nEOF\r\n";
    const std::string blocks = "0\nSECTION\n2\nBLOCKS\n1\n" + std::string(300, 't') + "\n";
    const auto dxf = [](const char* what, const std::string& file, std::size_t size) {
        return Case{what, 82, BytesOf(file), static_cast<std::int64_t>(size)};
    };
    const std::string sector = start + "  1\r\n" + std::string(512 - start.size() - 7, 't') + "\r\n";
    const std::string longLine = start + "  1\n" + std::string(20000, 't') + "\n" + end;
    ExpectSizes({
        dxf("EOF as a value", text + end, text.size() + end.size()),
        dxf("no line end", text + "0\nEOF", text.size() + 5),
        dxf("old end of file", text + end + "\x1A\r\n\r\n", text.size() + end.size() + 3),
        dxf("old end of file right behind", text + "0\nEOF\x1A", text.size() + 6),
        dxf("byte order mark", "\xEF\xBB\xBF" + text + end, 3 + text.size() + end.size()),
        dxf("comments", "999\na\n999\nb\n" + text + end, 12 + text.size() + end.size()),
        dxf("comments of another text", "999\na\nb\n" + text + end, 0),
        dxf("other section", "0\nSECTION\n2\nPLACES\n" + text + end, 0),
        dxf("no section", "  0\nEOF\n" + std::string(300, ' '), 0),
        dxf("breaks off in a value", text + "  1\nabc", text.size() + 4),
        dxf("breaks off in a code", text + " 1", text.size()),
        dxf("no code", text + "abc\r\ndef\r\n", text.size()),
        dxf("code too high", text + "1072\r\ndef\r\n", text.size()),
        dxf("breaks off without entities", blocks, 0),
        dxf("whole without entities", blocks + "0\nEOF\n", blocks.size() + 6),
        dxf("line too long to be one", longLine, 0),
        dxf("another drawing begins", sector + start + "no code", 512),
        dxf("two sections of a kind", text + text + end, 2 * text.size() + end.size()),
    });
    const std::string binary = "AutoCAD Binary DXF\r\n\x1A\0\0\0SECTION\0"s;
    const std::string values = "\x36\x01\x03"s + std::string(3, 'b') + "\x22\x01x\x2B\x04"s + std::string(2, '2') +
                               "\x05\0"s + std::string(300, 'h') + "\0\0\0EOF\0"s;
    const std::string narrow = "AutoCAD Binary DXF\r\n\x1A\0\0SECTION\0\xFF\x22\x01xx\0"s + std::string(250, 't');
    ExpectSizes({
        dxf("binary", binary + values, binary.size() + values.size()),
        dxf("binary, unknown code", binary + "\x52\0"s + values, 0),
        dxf("binary with short codes", narrow + "\0\0EOF\0"s, narrow.size() + 6),
        dxf("binary without an end", narrow, 0),
    });
}

}  // namespace
