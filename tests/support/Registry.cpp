#include "tests/support/Registry.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <stdexcept>

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

std::int64_t Fixture::SizeReportedBy(std::int32_t type) const {
    using namespace FileTypeIndex;
    if (reportedSize) {
        return *reportedSize;
    }
    if (FileTypeCatalog[type].reportedSize == SizeExactness::StartOnly) {
        return 0;
    }
    if (FileTypeCatalog[type].family == FileTypeFamily::Compound) {
        return ReferenceCompoundSize(bytes);
    }
    const auto size = static_cast<std::int64_t>(bytes.size());
    if (type == Wav || type == Aif || type == Ani) {
        // The header's size field, which does not count the 8 bytes before its end.
        return size - 8;
    }
    // Mail ends before its last line break.
    return type == Eml ? size - 2 : size;
}

namespace {

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

Bytes InFileOf(std::size_t size, Bytes header) {
    header.resize(size);
    return header;
}

// Files of the folder that the type of their extension does not report, or not alone; by name or by extension.
std::map<std::string, std::vector<std::int32_t>> OtherTypes() {
    using namespace FileTypeIndex;
    return {{"exif-big-endian.jpg", {JpegCamera}},
            {"exif-progressive.jpg", {JpegCamera}},
            {"exif-thumbnail.jpg", {JpegCamera}},
            {"exif.jpg", {JpegCamera}},
            {"jpg", {JpegGraphics}},
            {"xls", {Xls, Et}},
            {"ppt", {Ppt, Dps}},
            {"wma", {Asf, Wma, Wmv}},
            {"wmv", {Asf, Wmv}},
            {"arw", {Srf, Arw}},
            {"html", {Html}},
            {"xhtml", {Html}},
            {"svg", {Xml}},
            {"psb", {Psd}},
            {"ts", {Mts}},
            {"m2ts", {Mts}},
            // The sizes follow the data, so the walk does not find the next record.
            {"letter.docx", {}},
            {"table.xlsx", {}},
            {"slides.pptx", {}},
            // Bears the newer of the two media types of database documents, which decides nothing.
            {"tables.odb", {Zip}}};
}

const std::map<std::string, std::int64_t> OtherSizes{
    // The comment of 57 bytes is not counted.
    {"comment.zip", 1480},
    // Ends with the archive stored inside it.
    {"nested.zip", 3914},
    // Written to a pipe: its size is unknown, and the cap is reported.
    {"live.webm", 0x2000000000},
    // The end of the strip; the directory comes after it.
    {"strip.tif", 5408},
    {"deflate.tif", 5326},
    {"packbits.tif", 5481},
    {"fax.tif", 2545},
    // The first page alone.
    {"pages.tif", 1808},
    // There are several strips.
    {"lzw.tif", 0},
    // The end of the raw picture, which the file has only in part.
    {"cut.cr2", 1234567},
    // The time stamp before the first packet counts twice.
    {"stream.m2ts", 24580},
};

std::vector<std::int32_t> TypesOf(const std::filesystem::path& file) {
    static const auto others = OtherTypes();
    const std::string extension = file.extension().string().substr(1);
    for (const std::string& key : {file.filename().string(), extension}) {
        if (const auto other = others.find(key); other != others.end()) {
            return other->second;
        }
    }
    const auto row = std::ranges::find(FileTypeCatalog, extension, &FileTypeIdentity::extension);
    if (row == std::end(FileTypeCatalog)) {
        throw std::out_of_range(file.string() + " has the extension of no type");
    }
    return {static_cast<std::int32_t>(row - std::begin(FileTypeCatalog))};
}

std::vector<Fixture> FilesOfTheFolder() {
    std::vector<Fixture> fixtures;
    for (const auto& entry : std::filesystem::directory_iterator(SALVOR_SAMPLES_DIR "/fixtures")) {
        std::ifstream file(entry.path(), std::ios::binary);
        Fixture fixture{
            entry.path().filename().string(), TypesOf(entry.path()), {std::istreambuf_iterator<char>(file), {}}};
        if (const auto other = OtherSizes.find(fixture.name); other != OtherSizes.end()) {
            fixture.reportedSize = other->second;
        }
        fixtures.push_back(std::move(fixture));
    }
    std::ranges::sort(fixtures, {}, &Fixture::name);
    return fixtures;
}

std::vector<Fixture> BuiltFiles() {
    using namespace FileTypeIndex;
    return {
        {"visio", {Vsd}, CompoundFileOf(5)},
        {"project", {Mpp}, CompoundFileOf(6)},
        {"publisher", {Pub}, CompoundFileOf(7)},
        {"designcad", {Dcd}, CompoundFileOf(8)},
        {"flash", {Fla}, CompoundFileOf(11)},
        {"scene", {Max}, CompoundFileOf(12)},
        {"pagemaker", {P65}, CompoundFileOf(13)},
        {"quattro", {Qpw}, CompoundFileOf(14)},
        {"slideshow", {Shw}, CompoundFileOf(15)},
        {"vegas", {Veg}, Join({BytesOf("riff\x2E\x91\xCF\x11"), Zeros(8), {0xB8, 0x0B, 0, 0}, Zeros(2980)})},
        {"folders32", {Pst}, InFileOf(5000, PersonalFolders(5000, 7))},
        {"folders64", {Pst}, InFileOf(5000, PersonalFolders(7, 5000))},
        {"folder", {Dbx}, InFileOf(6000, ExpressFolder(6000 - 4096))},
        {"message", {Msg}, StoredMessage()},
        {"database",
         {Odb},
         ZipArchive({{"mimetype", BytesOf("application/vnd.sun.xml.base")}, {"content.xml", Zeros(2000)}})},
        {"worksheet", {Pxl}, ZipArchive({{"PxlPkg.plist", Zeros(300)}, {"sheet", Zeros(2000)}})},
        {"archive",
         {Rar},
         Join({BytesOf(std::string("Rar!\x1A\x07\0\xCF", 8)), Bytes(3000, 'x'),
               BytesOf(std::string("\xC4\x3D\x7B\0\x40\x07\0", 7))})},
        {"effects", {Xcf}, XcfWithEffects()},
        {"sections", {Dwg}, DwgFile("AC1006")},
        {"auxiliary", {Dwg}, DwgFile("AC1009")},
        {"located", {Dwg}, DwgFile("AC1015")},
        {"copied", {Dwg}, DwgFile("AC1032")},
        {"compressed", {Dwg}, DwgFile("AC1021")},
        {"riff", {Cdr}, CdrFile()},
        {"package", {Cdr, Zip}, CdrPackage(ZipSizes::InHeader)},
        {"paint3", {Psp}, PspFile(3)},
        {"paint9", {Psp}, PspFile(9)},
        {"heap", {Crw}, CrwFile(3000)},
        {"areas", {Cam}, CamFile()},
        {"scene4", {Mb}, MbFile(false)},
        {"scene8", {Mb}, MbFile(true)},
        {"canvas", {Oci}, OciFile()},
        {"bookmarks", {Bookmarks}, RunFile(RunFormats()[1], 20000)},
        {"brush", {Abr}, RunFile(RunFormats()[2], 5000)},
        {"drawing", {Exb}, RunFile(RunFormats()[3], 5000)},
        {"graph", {Pzf}, RunFile(RunFormats()[4], 5000)},
        {"help", {Hlp}, HelpFile()},
        {"compiled help", {Chm}, CompiledHelpFile()},
        {"old compiled help", {Chm}, CompiledHelpFile(2)},
        {"jet", {Mdb}, JetFile({})},
        {"data file", {Mdf}, DataFile({})},
        {"olympus", {Orf}, OlympusRaw()},
        {"minolta", {Mrw}, MinoltaRaw()},
        {"fujifilm", {Raf}, Join({BytesOf("FUJIFILMCCD-RAW 0201"), Bytes(3000, 'x')})},
        {"sigma", {X3f}, Join({BytesOf("FOVb"), Bytes(3000, 'x')})},
        {"rollei", {Rdc}, Join({BytesOf("DSC-Image"), Bytes(3000, 'x')})},
        {"section", {One}, OneSection()},
        {"section-package", {One}, OnePackage()},
        {"quark-3-big", {Qxp}, QuarkDocument(0x3F, Endian::Big, "")},
        {"quark-5", {Qxp}, QuarkDocument(0x42, Endian::Little, "DC")},
        {"quark-7", {Qxp}, QuarkProject(Endian::Little, "XP")},
        {"quark-4-template", {Qpt}, QuarkDocument(0x41, Endian::Little, "TP")},
        {"quark-7-template-big", {Qpt}, QuarkProject(Endian::Big, "XT")},
        {"smartdraw", {Sdr}, SmartDrawing()},
        {"wordperfect-5", {Wpd}, WordPerfect5()},
        {"wordperfect-6", {Wpd}, WordPerfect6(true)},
        {"wordperfect-6-early", {Wpd}, WordPerfect6(false)},
        {"wordperfect-macintosh", {Wpd}, WordPerfectMacintosh(Endian::Big)},
    };
}

}  // namespace

const std::vector<Fixture>& Fixtures() {
    static const std::vector<Fixture> fixtures = [] {
        std::vector<Fixture> all = FilesOfTheFolder();
        std::ranges::move(BuiltFiles(), std::back_inserter(all));
        return all;
    }();
    return fixtures;
}

Bytes FixtureMedium(const Bytes& file) {
    constexpr std::size_t noiseAfter = 20 * 512;
    Noise noise(file.size());
    const Bytes slack = Zeros((512 - file.size() % 512) % 512);
    return Join({noise.Random(FixtureSector * 512), file, slack, noise.Random(noiseAfter)});
}

}  // namespace test
