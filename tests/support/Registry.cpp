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
        {"exif-big-endian.jpg", {FileTypeIndex::JpegCamera}, nullptr},
        {"exif-progressive.jpg", {FileTypeIndex::JpegCamera}, nullptr},
        {"exif-thumbnail.jpg", {FileTypeIndex::JpegCamera}, nullptr},
        {"exif.jpg", {FileTypeIndex::JpegCamera}, nullptr},
        {"jfif-baseline.jpg", {FileTypeIndex::JpegGraphics}, nullptr},
        {"jfif-grey.jpg", {FileTypeIndex::JpegGraphics}, nullptr},
        {"jfif-icc.jpg", {FileTypeIndex::JpegGraphics}, nullptr},
        {"jfif-optimised-comment.jpg", {FileTypeIndex::JpegGraphics}, nullptr},
        {"jfif-progressive.jpg", {FileTypeIndex::JpegGraphics}, nullptr},
        {"jfif-restart.jpg", {FileTypeIndex::JpegGraphics}, nullptr},
        {"photoshop-iptc.jpg", {FileTypeIndex::JpegGraphics}, nullptr},
        {"grey16.png", {FileTypeIndex::Png}, nullptr},
        {"optimised.png", {FileTypeIndex::Png}, nullptr},
        {"palette.png", {FileTypeIndex::Png}, nullptr},
        {"rgb8.png", {FileTypeIndex::Png}, nullptr},
        {"rgba-adam7.png", {FileTypeIndex::Png}, nullptr},
        {"text.png", {FileTypeIndex::Png}, nullptr},
        {"still87.gif", {FileTypeIndex::Gif}, nullptr},
        {"interlaced.gif", {FileTypeIndex::Gif}, nullptr},
        {"animated.gif", {FileTypeIndex::Gif}, nullptr},
        {"mono.bmp", {FileTypeIndex::Bmp}, nullptr},
        {"palette4.bmp", {FileTypeIndex::Bmp}, nullptr},
        {"rle8.bmp", {FileTypeIndex::Bmp}, nullptr},
        {"rgb24.bmp", {FileTypeIndex::Bmp}, nullptr},
        {"os2.bmp", {FileTypeIndex::Bmp}, nullptr},
        {"rgb24-v4.bmp", {FileTypeIndex::Bmp}, nullptr},
        {"alpha32.bmp", {FileTypeIndex::Bmp}, nullptr},
        {"mono.pcx", {FileTypeIndex::Pcx}, nullptr},
        {"planes4.pcx", {FileTypeIndex::Pcx}, nullptr},
        {"palette8.pcx", {FileTypeIndex::Pcx}, nullptr},
        {"rgb24.pcx", {FileTypeIndex::Pcx}, nullptr},
        {"sizes.ico", {FileTypeIndex::Ico}, nullptr},
        {"with-png.ico", {FileTypeIndex::Ico}, nullptr},
        {"arrow.cur", {FileTypeIndex::Cur}, nullptr},
        {"placeable.wmf", {FileTypeIndex::Wmf}, nullptr},
        {"plain.wmf", {FileTypeIndex::Wmf}, nullptr},
        {"drawing.emf", {FileTypeIndex::Emf}, nullptr},
        {"display.icc", {FileTypeIndex::Icc}, nullptr},
        {"link.icc", {FileTypeIndex::Icc}, nullptr},
        {"letter.doc", {FileTypeIndex::Doc}, nullptr, ReferenceCompoundSize},
        {"table.xls", {FileTypeIndex::Xls, FileTypeIndex::Et}, nullptr, ReferenceCompoundSize},
        {"slides.ppt", {FileTypeIndex::Ppt, FileTypeIndex::Dps}, nullptr, ReferenceCompoundSize},
        BuiltCompound<5>("visio", FileTypeIndex::Vsd),
        BuiltCompound<6>("project", FileTypeIndex::Mpp),
        BuiltCompound<7>("publisher", FileTypeIndex::Pub),
        BuiltCompound<8>("designcad", FileTypeIndex::Dcd),
        BuiltCompound<11>("flash", FileTypeIndex::Fla),
        BuiltCompound<12>("scene", FileTypeIndex::Max),
        BuiltCompound<13>("pagemaker", FileTypeIndex::P65),
        BuiltCompound<14>("quattro", FileTypeIndex::Qpw),
        BuiltCompound<15>("slideshow", FileTypeIndex::Shw),
        {"plain.zip", {FileTypeIndex::Zip}, nullptr},
        {"descriptors.zip", {FileTypeIndex::Zip}, nullptr},
        // The comment of 57 bytes is not counted.
        {"comment.zip", {FileTypeIndex::Zip}, nullptr, Always<1480>},
        // Ends with the archive stored inside it.
        {"nested.zip", {FileTypeIndex::Zip}, nullptr, Always<3914>},
        {"program.jar", {FileTypeIndex::Jar}, nullptr},
        {"packed.docx", {FileTypeIndex::Docx}, nullptr},
        {"packed.xlsx", {FileTypeIndex::Xlsx}, nullptr},
        {"packed.pptx", {FileTypeIndex::Pptx}, nullptr},
        // Written with the sizes behind the data: the walk does not find the next record, and no other type takes it.
        {"letter.docx", {}, nullptr},
        {"table.xlsx", {}, nullptr},
        {"slides.pptx", {}, nullptr},
        {"letter.odt", {FileTypeIndex::Odt}, nullptr},
        {"table.ods", {FileTypeIndex::Ods}, nullptr},
        {"slides.odp", {FileTypeIndex::Odp}, nullptr},
        {"drawing.odg", {FileTypeIndex::Odg}, nullptr},
        // Bears the newer of the two media types of database documents, which decides nothing.
        {"tables.odb", {FileTypeIndex::Zip}, nullptr},
        {"formula.odf", {FileTypeIndex::Odf}, nullptr},
        {"lzma.7z", {FileTypeIndex::SevenZip}, nullptr},
        {"copy.7z", {FileTypeIndex::SevenZip}, nullptr},
        {"mszip.cab", {FileTypeIndex::Cab}, nullptr},
        {"stored.cab", {FileTypeIndex::Cab}, nullptr},
        {"film.mov", {FileTypeIndex::Mov}, nullptr},
        {"phone.3gp", {FileTypeIndex::ThreeGp}, nullptr},
        {"tone.m4a", {FileTypeIndex::M4a}, nullptr},
        {"film.m4v", {FileTypeIndex::M4v}, nullptr},
        {"plain.mp4", {FileTypeIndex::Mp4}, nullptr},
        {"faststart.mp4", {FileTypeIndex::Mp4}, nullptr},
        {"fragmented.mp4", {FileTypeIndex::Mp4}, nullptr},
        {"indexed.mp4", {FileTypeIndex::Mp4}, nullptr},
        {"tone.wav", {FileTypeIndex::Wav}, nullptr, WithoutRiffHeader},
        {"packed.wav", {FileTypeIndex::Wav}, nullptr, WithoutRiffHeader},
        {"film.avi", {FileTypeIndex::Avi}, nullptr},
        {"lossy.webp", {FileTypeIndex::Webp}, nullptr},
        {"lossless.webp", {FileTypeIndex::Webp}, nullptr},
        {"animated.webp", {FileTypeIndex::Webp}, nullptr},
        {"tone.aif", {FileTypeIndex::Aif}, nullptr, WithoutRiffHeader},
        {"turning.ani", {FileTypeIndex::Ani}, nullptr, WithoutRiffHeader},
        {"video.mkv", {FileTypeIndex::Mkv}, nullptr},
        {"video.webm", {FileTypeIndex::Webm}, nullptr},
        // Written to a pipe: its size is unknown, and the cap is reported.
        {"live.webm", {FileTypeIndex::Webm}, nullptr, Always<0x2000000000>},
        {"video.flv", {FileTypeIndex::Flv}, nullptr},
        {"video.rm", {FileTypeIndex::Rm}, nullptr},
        {"sound.rm", {FileTypeIndex::Rm}, nullptr},
        {"video.swf", {FileTypeIndex::Swf}, nullptr},
        {"vorbis.ogg", {FileTypeIndex::Ogg}, nullptr},
        {"opus.ogg", {FileTypeIndex::Ogg}, nullptr},
        {"flac.ogg", {FileTypeIndex::Ogg}, nullptr},
        {"theora.ogg", {FileTypeIndex::Ogg}, nullptr},
        {"sound.au", {FileTypeIndex::Au}, nullptr},
        {"ringtone.mmf", {FileTypeIndex::Mmf}, nullptr},
        {"scale.mid", {FileTypeIndex::Mid}, nullptr},
        {"vegas",
         {FileTypeIndex::Veg},
         [] {
             return Join({BytesOf("riff\x2E\x91\xCF\x11"), Zeros(8), {0xB8, 0x0B, 0, 0}, Zeros(2980)});
         }},
        {"log.txt", {FileTypeIndex::Text}, nullptr},
        {"page.eml", {FileTypeIndex::Eml}, nullptr, WithoutLineBreak},
        {"alternative.eml", {FileTypeIndex::Eml}, nullptr, WithoutLineBreak},
        {"attachment.eml", {FileTypeIndex::Eml}, nullptr, WithoutLineBreak},
        {"archive.mht", {FileTypeIndex::Mht}, nullptr},
        {"folders32",
         {FileTypeIndex::Pst},
         [] {
             return InFileOf(5000, PersonalFolders(5000, 7));
         }},
        {"folders64",
         {FileTypeIndex::Pst},
         [] {
             return InFileOf(5000, PersonalFolders(7, 5000));
         }},
        {"folder",
         {FileTypeIndex::Dbx},
         [] {
             return InFileOf(6000, ExpressFolder(6000 - 4096));
         }},
        {"message",
         {FileTypeIndex::Msg},
         [] {
             return StoredMessage();
         }},
        {"plain.pdf", {FileTypeIndex::Pdf}, nullptr},
        {"linearized.pdf", {FileTypeIndex::Pdf}, nullptr},
        {"linearized-updated.pdf", {FileTypeIndex::Pdf}, nullptr},
        {"updated.pdf", {FileTypeIndex::Pdf}, nullptr},
        {"packed.pdf", {FileTypeIndex::Pdf}, nullptr},
        {"attached.pdf", {FileTypeIndex::Pdf}, nullptr},
        {"drawing.ai", {FileTypeIndex::Ai}, nullptr},
        {"old-drawing.ai", {FileTypeIndex::Ai}, nullptr},
        {"database",
         {FileTypeIndex::Odb},
         [] {
             return ZipArchive({{"mimetype", BytesOf("application/vnd.sun.xml.base")}, {"content.xml", Zeros(2000)}});
         }},
        {"worksheet",
         {FileTypeIndex::Pxl},
         [] {
             return ZipArchive({{"PxlPkg.plist", Zeros(300)}, {"sheet", Zeros(2000)}});
         }},
        {"archive",
         {FileTypeIndex::Rar},
         [] {
             return Join({BytesOf(std::string("Rar!\x1A\x07\0\xCF", 8)), Bytes(3000, 'x'),
                          BytesOf(std::string("\xC4\x3D\x7B\0\x40\x07\0", 7))});
         }},
        {"cmyk16.psd", {FileTypeIndex::Psd}, nullptr},
        {"large.psb", {FileTypeIndex::Psd}, nullptr},
        {"layers.psd", {FileTypeIndex::Psd}, nullptr},
        {"packed.psd", {FileTypeIndex::Psd}, nullptr},
        {"palette.psd", {FileTypeIndex::Psd}, nullptr},
        {"raw.psd", {FileTypeIndex::Psd}, nullptr},
        {"deep.xcf", {FileTypeIndex::Xcf}, nullptr},
        {"layers.xcf", {FileTypeIndex::Xcf}, nullptr},
        {"palette.xcf", {FileTypeIndex::Xcf}, nullptr},
        {"small.xcf", {FileTypeIndex::Xcf}, nullptr},
        {"effects", {FileTypeIndex::Xcf}, test::XcfWithEffects},
        {"release10.binary.dxf", {FileTypeIndex::Dxf}, nullptr},
        {"release12.dxf", {FileTypeIndex::Dxf}, nullptr},
        {"release14.binary.dxf", {FileTypeIndex::Dxf}, nullptr},
        {"release14.dxf", {FileTypeIndex::Dxf}, nullptr},
        {"traced.dxf", {FileTypeIndex::Dxf}, nullptr},
        {"sections",
         {FileTypeIndex::Dwg},
         [] {
             return DwgFile("AC1006");
         }},
        {"auxiliary",
         {FileTypeIndex::Dwg},
         [] {
             return DwgFile("AC1009");
         }},
        {"located",
         {FileTypeIndex::Dwg},
         [] {
             return DwgFile("AC1015");
         }},
        {"copied",
         {FileTypeIndex::Dwg},
         [] {
             return DwgFile("AC1032");
         }},
        {"compressed",
         {FileTypeIndex::Dwg},
         [] {
             return DwgFile("AC1021");
         }},
        {"riff", {FileTypeIndex::Cdr}, CdrFile},
        {"package",
         {FileTypeIndex::Cdr, FileTypeIndex::Zip},
         [] {
             return CdrPackage(ZipSizes::InFront);
         }},
        {"paint3",
         {FileTypeIndex::Psp},
         [] {
             return PspFile(3);
         }},
        {"paint9",
         {FileTypeIndex::Psp},
         [] {
             return PspFile(9);
         }},
        {"heap",
         {FileTypeIndex::Crw},
         [] {
             return CrwFile(3000);
         }},
        {"areas", {FileTypeIndex::Cam}, CamFile},
        {"scene4",
         {FileTypeIndex::Mb},
         [] {
             return MbFile(false);
         }},
        {"scene8",
         {FileTypeIndex::Mb},
         [] {
             return MbFile(true);
         }},
        {"canvas", {FileTypeIndex::Oci}, OciFile},
        {"bookmarks",
         {FileTypeIndex::Bookmarks},
         [] {
             return RunFile(RunFormats()[1], 20000);
         }},
        {"brush",
         {FileTypeIndex::Abr},
         [] {
             return RunFile(RunFormats()[2], 5000);
         }},
        {"drawing",
         {FileTypeIndex::Exb},
         [] {
             return RunFile(RunFormats()[3], 5000);
         }},
        {"graph",
         {FileTypeIndex::Pzf},
         [] {
             return RunFile(RunFormats()[4], 5000);
         }},
        {"help", {FileTypeIndex::Hlp}, HelpFile},
        {"compiled help",
         {FileTypeIndex::Chm},
         [] {
             return CompiledHelpFile();
         }},
        {"manual.chm", {FileTypeIndex::Chm}, nullptr},
        {"old compiled help",
         {FileTypeIndex::Chm},
         [] {
             return CompiledHelpFile(2);
         }},
        {"jet",
         {FileTypeIndex::Mdb},
         [] {
             return JetFile({});
         }},
        {"data file",
         {FileTypeIndex::Mdf},
         [] {
             return DataFile({});
         }},
        {"tone.wma", {FileTypeIndex::Asf, FileTypeIndex::Wma, FileTypeIndex::Wmv}, nullptr},
        {"film.wmv", {FileTypeIndex::Asf, FileTypeIndex::Wmv}, nullptr},
        // In this order: a tag at the end of a file is taken for that of one without, up to 64 KiB in front of it.
        {"tagged.mp3", {FileTypeIndex::Mp3}, nullptr},
        {"plain.mp3", {FileTypeIndex::Mp3}, nullptr},
        {"variable.mp3", {FileTypeIndex::Mp3}, nullptr},
        {"stream.ts", {FileTypeIndex::Mts}, nullptr},
        // The time stamp in front of the first packet counts twice.
        {"stream.m2ts",
         {FileTypeIndex::Mts},
         nullptr,
         [](const Bytes& file) {
             return static_cast<std::int64_t>(file.size()) + 4;
         }},
        {"stream.vob", {FileTypeIndex::Vob}, nullptr},
        {"page4.htm", {FileTypeIndex::Html}, nullptr},
        {"page5.html", {FileTypeIndex::Html}, nullptr},
        {"page.xhtml", {FileTypeIndex::Html}, nullptr},
        {"page-utf16.html", {FileTypeIndex::Html}, nullptr},
        {"page-saved.html", {FileTypeIndex::Html}, nullptr},
        {"catalogue.xml", {FileTypeIndex::Xml}, nullptr},
        {"catalogue-utf16.xml", {FileTypeIndex::Xml}, nullptr},
        {"sections.xml", {FileTypeIndex::Xml}, nullptr},
        {"circles.svg", {FileTypeIndex::Xml}, nullptr},
        {"strip-last.tif", {FileTypeIndex::Tiff}, nullptr},
        // The end of the strip; the directory comes behind it.
        {"strip.tif", {FileTypeIndex::Tiff}, nullptr, Always<5408>},
        {"deflate.tif", {FileTypeIndex::Tiff}, nullptr, Always<5326>},
        {"packbits.tif", {FileTypeIndex::Tiff}, nullptr, Always<5481>},
        {"fax.tif", {FileTypeIndex::Tiff}, nullptr, Always<2545>},
        // The first page alone.
        {"pages.tif", {FileTypeIndex::Tiff}, nullptr, Always<1808>},
        // The strips are several.
        {"lzw.tif", {FileTypeIndex::Tiff}, nullptr, Always<0>},
        {"maker.nef", {FileTypeIndex::Nef}, nullptr, Always<0>},
        {"maker.pef", {FileTypeIndex::Pef}, nullptr, Always<0>},
        {"maker.arw", {FileTypeIndex::Srf, FileTypeIndex::Arw}, nullptr, Always<0>},
        {"name.dcr", {FileTypeIndex::Dcr}, nullptr, Always<0>},
        {"version.dng", {FileTypeIndex::Dng}, nullptr, Always<0>},
        // The raw picture, of which the file's first part does not have all.
        {"cut.cr2", {FileTypeIndex::Cr2}, nullptr, Always<1234567>},
        {"still.cr3", {FileTypeIndex::Cr3}, nullptr},
        {"olympus", {FileTypeIndex::Orf}, OlympusRaw},
        {"minolta", {FileTypeIndex::Mrw}, MinoltaRaw},
        {"fujifilm",
         {FileTypeIndex::Raf},
         [] {
             return Join({BytesOf("FUJIFILMCCD-RAW 0201"), Bytes(3000, 'x')});
         },
         Always<0>},
        {"sigma",
         {FileTypeIndex::X3f},
         [] {
             return Join({BytesOf("FOVb"), Bytes(3000, 'x')});
         },
         Always<0>},
        {"rollei",
         {FileTypeIndex::Rdc},
         [] {
             return Join({BytesOf("DSC-Image"), Bytes(3000, 'x')});
         },
         Always<0>},
        {"section", {FileTypeIndex::One}, OneSection},
        {"section-package", {FileTypeIndex::One}, OnePackage},
        {"quark-3-big",
         {FileTypeIndex::Qxp},
         [] {
             return QuarkDocument(0x3F, Endian::Big, "");
         }},
        {"quark-5",
         {FileTypeIndex::Qxp},
         [] {
             return QuarkDocument(0x42, Endian::Little, "DC");
         }},
        {"quark-7",
         {FileTypeIndex::Qxp},
         [] {
             return QuarkProject(Endian::Little, "XP");
         }},
        {"quark-4-template",
         {FileTypeIndex::Qpt},
         [] {
             return QuarkDocument(0x41, Endian::Little, "TP");
         }},
        {"quark-7-template-big",
         {FileTypeIndex::Qpt},
         [] {
             return QuarkProject(Endian::Big, "XT");
         }},
        {"smartdraw", {FileTypeIndex::Sdr}, SmartDrawing},
        {"wordperfect-5", {FileTypeIndex::Wpd}, WordPerfect5},
        {"wordperfect-6",
         {FileTypeIndex::Wpd},
         [] {
             return WordPerfect6(true);
         }},
        {"wordperfect-6-early",
         {FileTypeIndex::Wpd},
         [] {
             return WordPerfect6(false);
         }},
        {"wordperfect-macintosh",
         {FileTypeIndex::Wpd},
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
