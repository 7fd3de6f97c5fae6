#include "tests/support/Registry.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <string>

#include "frame/contract/FileTypeCatalog.h"
#include "tests/support/CompoundBuilder.h"
#include "tests/support/DatabaseBuilder.h"
#include "tests/support/DrawingBuilder.h"
#include "tests/support/HelpBuilder.h"
#include "tests/support/MailBuilder.h"
#include "tests/support/OfficePaperBuilder.h"
#include "tests/support/RunFormats.h"
#include "tests/support/TiffBuilder.h"
#include "tests/support/ZipBuilder.h"

namespace test {

std::ostream& operator<<(std::ostream& out, const Claim& claim) {
    return out << FileTypeCatalog[claim.index].extension << " (" << claim.index << ") " << claim.found;
}

std::ostream& operator<<(std::ostream& out, const Fixture& fixture) { return out << fixture.name; }

std::vector<Claim> ScanWithAllTypes(Medium& medium, const Blocks& blocks) {
    std::vector<TypePtr> owners;
    std::vector<IRawFileType*> types;
    for (std::int32_t index = 0; index < FileTypeCount; ++index) {
        types.push_back(owners.emplace_back(CreateType(index)).get());
    }
    const std::vector<std::vector<Found>> finds = ScanTogether(types, medium, blocks);
    std::vector<Claim> claims;
    for (std::int32_t index = 0; index < FileTypeCount; ++index) {
        for (const Found& found : finds[static_cast<std::size_t>(index)]) {
            claims.push_back({index, found});
        }
    }
    return claims;
}

Bytes Fixture::Load() const {
    if (build != nullptr) {
        return build();
    }
    std::ifstream file(std::string(SALVOR_SAMPLES_DIR "/fixtures/") + name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::int64_t Fixture::ReportedSize(const Bytes& file) const {
    return sizeOf == nullptr ? static_cast<std::int64_t>(file.size()) : sizeOf(file);
}

namespace {

// The size of a compound file is estimated.
template <std::int32_t Kind>
Fixture BuiltCompound(const char* name, std::int32_t type) {
    return {name, {type}, [] { return CompoundFileOf(Kind); }, ReferenceCompoundSize};
}

// For a file whose rules give another size than its own.
template <std::int64_t Size>
std::int64_t Always(const Bytes& /*file*/) {
    return Size;
}

// The header's size field as it stands, which does not count the 8 bytes up to its end.
std::int64_t WithoutRiffHeader(const Bytes& file) { return static_cast<std::int64_t>(file.size()) - 8; }

// The JPEG comes last.
Bytes OlympusRaw() {
    TiffBuilder builder(false, BytesOf("OLYMPUS CORPORATION"));
    const std::uint32_t jpeg = 700;
    builder.AppendDirectory({{256, TiffShort, {40}}, {513, TiffLong, {jpeg}}, {514, TiffLong, {2300}}});
    Bytes file = Join({builder.File(), Bytes(jpeg + 2300 - builder.File().size(), 'x')});
    std::ranges::copy(std::string("IIRO"), file.begin());
    return file;
}

// A metadata block of 100 bytes and 60 x 40 pixels of 12 bits.
Bytes MinoltaRaw() {
    return Join({BytesOf(std::string("\0MRM\0\0\0\x64\0PRD\0\0\0\x18", 16)), Zeros(8),
                 BytesOf(std::string("\0\x28\0\x3C\0\x28\0\x3C\x0C", 9)), Zeros(75), Bytes(3600, 'x')});
}

// Mail ends in front of its last line break.
std::int64_t WithoutLineBreak(const Bytes& file) { return static_cast<std::int64_t>(file.size()) - 2; }

Bytes InFileOf(std::size_t size, Bytes header) {
    header.resize(size);
    return header;
}

}  // namespace

const std::vector<Fixture>& Fixtures() {
    static const std::vector<Fixture> fixtures{
        {"exif-big-endian.jpg", {41}, nullptr},
        {"exif-progressive.jpg", {41}, nullptr},
        {"exif-thumbnail.jpg", {41}, nullptr},
        {"exif.jpg", {41}, nullptr},
        {"jfif-baseline.jpg", {42}, nullptr},
        {"jfif-grey.jpg", {42}, nullptr},
        {"jfif-icc.jpg", {42}, nullptr},
        {"jfif-optimised-comment.jpg", {42}, nullptr},
        {"jfif-progressive.jpg", {42}, nullptr},
        {"jfif-restart.jpg", {42}, nullptr},
        {"photoshop-iptc.jpg", {42}, nullptr},
        {"grey16.png", {46}, nullptr},
        {"optimised.png", {46}, nullptr},
        {"palette.png", {46}, nullptr},
        {"rgb8.png", {46}, nullptr},
        {"rgba-adam7.png", {46}, nullptr},
        {"text.png", {46}, nullptr},
        {"still87.gif", {43}, nullptr},
        {"interlaced.gif", {43}, nullptr},
        {"animated.gif", {43}, nullptr},
        {"mono.bmp", {48}, nullptr},
        {"palette4.bmp", {48}, nullptr},
        {"rle8.bmp", {48}, nullptr},
        {"rgb24.bmp", {48}, nullptr},
        {"os2.bmp", {48}, nullptr},
        {"rgb24-v4.bmp", {48}, nullptr},
        {"alpha32.bmp", {48}, nullptr},
        {"mono.pcx", {40}, nullptr},
        {"planes4.pcx", {40}, nullptr},
        {"palette8.pcx", {40}, nullptr},
        {"rgb24.pcx", {40}, nullptr},
        {"sizes.ico", {65}, nullptr},
        {"with-png.ico", {65}, nullptr},
        {"arrow.cur", {64}, nullptr},
        {"placeable.wmf", {44}, nullptr},
        {"plain.wmf", {44}, nullptr},
        {"drawing.emf", {45}, nullptr},
        {"display.icc", {86}, nullptr},
        {"link.icc", {86}, nullptr},
        {"letter.doc", {0}, nullptr, ReferenceCompoundSize},
        {"table.xls", {1, 83}, nullptr, ReferenceCompoundSize},
        {"slides.ppt", {2, 84}, nullptr, ReferenceCompoundSize},
        BuiltCompound<5>("visio", 3),
        BuiltCompound<6>("project", 4),
        BuiltCompound<7>("publisher", 5),
        BuiltCompound<8>("designcad", 80),
        BuiltCompound<11>("flash", 85),
        BuiltCompound<12>("scene", 87),
        BuiltCompound<13>("pagemaker", 97),
        BuiltCompound<14>("quattro", 99),
        BuiltCompound<15>("slideshow", 103),
        {"plain.zip", {67}, nullptr},
        {"descriptors.zip", {67}, nullptr},
        // The comment of 57 bytes is not counted.
        {"comment.zip", {67}, nullptr, Always<1480>},
        // Ends with the archive stored inside it.
        {"nested.zip", {67}, nullptr, Always<3914>},
        {"program.jar", {94}, nullptr},
        {"packed.docx", {6}, nullptr},
        {"packed.xlsx", {7}, nullptr},
        {"packed.pptx", {8}, nullptr},
        // Written with the sizes behind the data: the walk does not find the next record, and no other type takes it.
        {"letter.docx", {}, nullptr},
        {"table.xlsx", {}, nullptr},
        {"slides.pptx", {}, nullptr},
        {"letter.odt", {9}, nullptr},
        {"table.ods", {10}, nullptr},
        {"slides.odp", {11}, nullptr},
        {"drawing.odg", {12}, nullptr},
        // Bears the newer of the two media types of database documents, which decides nothing.
        {"tables.odb", {67}, nullptr},
        {"formula.odf", {93}, nullptr},
        {"lzma.7z", {68}, nullptr},
        {"copy.7z", {68}, nullptr},
        {"mszip.cab", {70}, nullptr},
        {"stored.cab", {70}, nullptr},
        {"film.mov", {17}, nullptr},
        {"phone.3gp", {18}, nullptr},
        {"tone.m4a", {19}, nullptr},
        {"film.m4v", {20}, nullptr},
        {"plain.mp4", {21}, nullptr},
        {"faststart.mp4", {21}, nullptr},
        {"fragmented.mp4", {21}, nullptr},
        {"indexed.mp4", {21}, nullptr},
        {"tone.wav", {23}, nullptr, WithoutRiffHeader},
        {"packed.wav", {23}, nullptr, WithoutRiffHeader},
        {"film.avi", {24}, nullptr},
        {"lossy.webp", {66}, nullptr},
        {"lossless.webp", {66}, nullptr},
        {"animated.webp", {66}, nullptr},
        {"tone.aif", {78}, nullptr, WithoutRiffHeader},
        {"turning.ani", {79}, nullptr, WithoutRiffHeader},
        {"video.mkv", {110}, nullptr},
        {"video.webm", {111}, nullptr},
        // Written to a pipe: its size is unknown, and the cap is reported.
        {"live.webm", {111}, nullptr, Always<0x2000000000>},
        {"video.flv", {108}, nullptr},
        {"video.rm", {112}, nullptr},
        {"sound.rm", {112}, nullptr},
        {"video.swf", {47}, nullptr},
        {"vorbis.ogg", {95}, nullptr},
        {"opus.ogg", {95}, nullptr},
        {"flac.ogg", {95}, nullptr},
        {"theora.ogg", {95}, nullptr},
        {"sound.au", {107}, nullptr},
        {"ringtone.mmf", {91}, nullptr},
        {"scale.mid", {90}, nullptr},
        {"vegas",
         {104},
         [] {
             return Join({BytesOf("riff\x2E\x91\xCF\x11"), Zeros(8), {0xB8, 0x0B, 0, 0}, Zeros(2980)});
         }},
        {"log.txt", {28}, nullptr},
        {"page.eml", {34}, nullptr, WithoutLineBreak},
        {"alternative.eml", {34}, nullptr, WithoutLineBreak},
        {"attachment.eml", {34}, nullptr, WithoutLineBreak},
        {"archive.mht", {89}, nullptr},
        {"folders32",
         {32},
         [] {
             return InFileOf(5000, PersonalFolders(5000, 7));
         }},
        {"folders64",
         {32},
         [] {
             return InFileOf(5000, PersonalFolders(7, 5000));
         }},
        {"folder",
         {33},
         [] {
             return InFileOf(6000, ExpressFolder(6000 - 4096));
         }},
        {"message",
         {35},
         [] {
             return StoredMessage();
         }},
        {"plain.pdf", {31}, nullptr},
        {"linearized.pdf", {31}, nullptr},
        {"linearized-updated.pdf", {31}, nullptr},
        {"updated.pdf", {31}, nullptr},
        {"packed.pdf", {31}, nullptr},
        {"attached.pdf", {31}, nullptr},
        {"drawing.ai", {74}, nullptr},
        {"old-drawing.ai", {74}, nullptr},
        {"database",
         {13},
         [] {
             return ZipArchive({{"mimetype", BytesOf("application/vnd.sun.xml.base")}, {"content.xml", Zeros(2000)}});
         }},
        {"worksheet",
         {98},
         [] {
             return ZipArchive({{"PxlPkg.plist", Zeros(300)}, {"sheet", Zeros(2000)}});
         }},
        {"archive",
         {69},
         [] {
             return Join({BytesOf(std::string("Rar!\x1A\x07\0\xCF", 8)), Bytes(3000, 'x'),
                          BytesOf(std::string("\xC4\x3D\x7B\0\x40\x07\0", 7))});
         }},
        {"cmyk16.psd", {37}, nullptr},
        {"large.psb", {37}, nullptr},
        {"layers.psd", {37}, nullptr},
        {"packed.psd", {37}, nullptr},
        {"palette.psd", {37}, nullptr},
        {"raw.psd", {37}, nullptr},
        {"deep.xcf", {62}, nullptr},
        {"layers.xcf", {62}, nullptr},
        {"palette.xcf", {62}, nullptr},
        {"small.xcf", {62}, nullptr},
        {"effects", {62}, test::XcfWithEffects},
        {"release10.binary.dxf", {82}, nullptr},
        {"release12.dxf", {82}, nullptr},
        {"release14.binary.dxf", {82}, nullptr},
        {"release14.dxf", {82}, nullptr},
        {"traced.dxf", {82}, nullptr},
        {"sections",
         {36},
         [] {
             return DwgFile("AC1006");
         }},
        {"auxiliary",
         {36},
         [] {
             return DwgFile("AC1009");
         }},
        {"located",
         {36},
         [] {
             return DwgFile("AC1015");
         }},
        {"copied",
         {36},
         [] {
             return DwgFile("AC1032");
         }},
        {"compressed",
         {36},
         [] {
             return DwgFile("AC1021");
         }},
        {"riff", {38}, CdrFile},
        {"package",
         {38, 67},
         [] {
             return CdrPackage(ZipSizes::InFront);
         }},
        {"paint3",
         {39},
         [] {
             return PspFile(3);
         }},
        {"paint9",
         {39},
         [] {
             return PspFile(9);
         }},
        {"heap",
         {49},
         [] {
             return CrwFile(3000);
         }},
        {"areas", {63}, CamFile},
        {"scene4",
         {88},
         [] {
             return MbFile(false);
         }},
        {"scene8",
         {88},
         [] {
             return MbFile(true);
         }},
        {"canvas", {92}, OciFile},
        {"bookmarks",
         {73},
         [] {
             return RunFile(RunFormats()[1], 20000);
         }},
        {"brush",
         {75},
         [] {
             return RunFile(RunFormats()[2], 5000);
         }},
        {"drawing",
         {76},
         [] {
             return RunFile(RunFormats()[3], 5000);
         }},
        {"graph",
         {77},
         [] {
             return RunFile(RunFormats()[4], 5000);
         }},
        {"help", {29}, HelpFile},
        {"compiled help",
         {30},
         [] {
             return CompiledHelpFile();
         }},
        {"manual.chm", {30}, nullptr},
        {"old compiled help",
         {30},
         [] {
             return CompiledHelpFile(2);
         }},
        {"jet",
         {71},
         [] {
             return JetFile({});
         }},
        {"data file",
         {72},
         [] {
             return DataFile({});
         }},
        {"tone.wma", {14, 15, 16}, nullptr},
        {"film.wmv", {14, 16}, nullptr},
        // In this order: a tag at the end of a file is taken for that of one without, up to 64 KiB in front of it.
        {"tagged.mp3", {22}, nullptr},
        {"plain.mp3", {22}, nullptr},
        {"variable.mp3", {22}, nullptr},
        {"stream.ts", {109}, nullptr},
        // The time stamp in front of the first packet counts twice.
        {"stream.m2ts",
         {109},
         nullptr,
         [](const Bytes& file) {
             return static_cast<std::int64_t>(file.size()) + 4;
         }},
        {"stream.vob", {25}, nullptr},
        {"page4.htm", {26}, nullptr},
        {"page5.html", {26}, nullptr},
        {"page.xhtml", {26}, nullptr},
        {"page-utf16.html", {26}, nullptr},
        {"page-saved.html", {26}, nullptr},
        {"catalogue.xml", {27}, nullptr},
        {"catalogue-utf16.xml", {27}, nullptr},
        {"sections.xml", {27}, nullptr},
        {"circles.svg", {27}, nullptr},
        {"strip-last.tif", {60}, nullptr},
        // The end of the strip; the directory comes behind it.
        {"strip.tif", {60}, nullptr, Always<5408>},
        {"deflate.tif", {60}, nullptr, Always<5326>},
        {"packbits.tif", {60}, nullptr, Always<5481>},
        {"fax.tif", {60}, nullptr, Always<2545>},
        // The first page alone.
        {"pages.tif", {60}, nullptr, Always<1808>},
        // The strips are several.
        {"lzw.tif", {60}, nullptr, Always<0>},
        {"maker.nef", {54}, nullptr, Always<0>},
        {"maker.pef", {56}, nullptr, Always<0>},
        {"maker.arw", {59, 106}, nullptr, Always<0>},
        {"name.dcr", {52}, nullptr, Always<0>},
        {"version.dng", {81}, nullptr, Always<0>},
        // The raw picture, of which the file's first part does not have all.
        {"cut.cr2", {50}, nullptr, Always<1234567>},
        {"still.cr3", {51}, nullptr},
        {"olympus", {55}, OlympusRaw},
        {"minolta", {53}, MinoltaRaw},
        {"fujifilm",
         {57},
         [] {
             return Join({BytesOf("FUJIFILMCCD-RAW 0201"), Bytes(3000, 'x')});
         },
         Always<0>},
        {"sigma",
         {61},
         [] {
             return Join({BytesOf("FOVb"), Bytes(3000, 'x')});
         },
         Always<0>},
        {"rollei",
         {58},
         [] {
             return Join({BytesOf("DSC-Image"), Bytes(3000, 'x')});
         },
         Always<0>},
        {"section", {96}, OneSection},
        {"section-package", {96}, OnePackage},
        {"quark-3-big",
         {100},
         [] {
             return QuarkDocument(0x3F, Endian::Big, "");
         }},
        {"quark-5",
         {100},
         [] {
             return QuarkDocument(0x42, Endian::Little, "DC");
         }},
        {"quark-7",
         {100},
         [] {
             return QuarkProject(Endian::Little, "XP");
         }},
        {"quark-4-template",
         {101},
         [] {
             return QuarkDocument(0x41, Endian::Little, "TP");
         }},
        {"quark-7-template-big",
         {101},
         [] {
             return QuarkProject(Endian::Big, "XT");
         }},
        {"smartdraw", {102}, SmartDrawing},
        {"wordperfect-5", {105}, WordPerfect5},
        {"wordperfect-6",
         {105},
         [] {
             return WordPerfect6(true);
         }},
        {"wordperfect-6-early",
         {105},
         [] {
             return WordPerfect6(false);
         }},
        {"wordperfect-macintosh",
         {105},
         [] {
             return WordPerfectMacintosh(Endian::Big);
         }},
    };
    return fixtures;
}

Bytes FixtureMedium(const Bytes& file) {
    constexpr std::size_t noiseBehind = 20 * 512;
    Noise noise(file.size());
    const Bytes slack = Zeros((512 - file.size() % 512) % 512);
    return Join({noise.Random(FixtureSector * 512), file, slack, noise.Random(noiseBehind)});
}

}  // namespace test
