#include <gtest/gtest.h>

#include <fmt/format.h>
#include <zlib.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "host/details/details_worker.h"
#include "host/details/document_details.h"
#include "host/details/film_details.h"
#include "host/platform/sandbox.h"
#include "tests/host/Deflated.h"
#include "tests/host/Program.h"
#include "tests/support/BoxBytes.h"
#include "tests/support/ZipBuilder.h"

namespace salvor {

namespace {

using namespace test;
using nlohmann::json;
using ::test::Big;
using ::test::Join;
using ::test::Little;

// Fixtures one after another, each at a cluster's start.
Bytes MediumOf(const std::vector<std::string>& names) {
    Bytes medium;
    for (const std::string& name : names) {
        const Bytes file = Fixture(name);
        medium.insert(medium.end(), file.begin(), file.end());
        medium.resize((medium.size() / 4096 + 1) * 4096);
    }
    return medium;
}

TEST(Details, ArePutIntoTheReportAndAWorkerThatFallsCostsOneFile) {
    const TempFolder folder;
    WriteFile(folder / "image", MediumOf({"exif.jpg", "jfif-grey.jpg", "exif-thumbnail.jpg", "maker.nef"}));
    const json camera{
        {"taken", "2011-06-18T14:05:27"}, {"camera", "Example Camera 100"}, {"width", 480}, {"height", 360}};
    const auto out = [&folder](const std::string& name) {
        return Quoted(folder / name);
    };
    ASSERT_EQ(RunProgram("recover " + out("image") + " --quiet --out " + out("none")).status, 0);
    for (const std::string fault : {"none", "crash", "open", "memory"}) {
        if (fault == "memory" && IsSanitized) {
            continue;
        }
        // The second file.
        const std::string prefix = "SALVOR_TEST_FAULT=" + fault + ":1";
        const std::string extract = "extract " + out("none/finds.jsonl") + " --quiet --out " + out(fault);
        ASSERT_EQ(RunProgram(extract, prefix).status, 0);
        const std::vector<json> report = ReadLines(folder / fault / "report.jsonl");
        ASSERT_EQ(report.size(), 5U) << fault;
        EXPECT_EQ(report[0]["details"], camera) << fault;
        EXPECT_EQ(report[1].contains("details"), fault == "none") << fault;
        EXPECT_EQ(report[2]["details"]["taken"], camera["taken"]) << fault;
        EXPECT_EQ(report[3]["details"]["camera"], "NIKON D1") << fault;
    }
}

// With these properties.
Bytes PdfWith(const std::string& info) {
    const std::string text =
        "%PDF-1.4\n1 0 obj\n<</Type/Catalog/Pages 2 0 R>>\nendobj\n"
        "2 0 obj\n<</Type/Pages/Kids[]/Count 0>>\nendobj\n"
        "3 0 obj\n" +
        info + "\nendobj\n";
    std::string table = "xref\n0 4\n0000000000 65535 f \n";
    for (std::size_t at = text.find(" 0 obj"); at != std::string::npos; at = text.find(" 0 obj", at + 1)) {
        table += fmt::format("{:010} 00000 n \n", at - 1);
    }
    const std::string whole = text + table + "trailer\n<</Size 4/Root 1 0 R/Info 3 0 R>>\nstartxref\n" +
                              std::to_string(text.size()) + "\n%%EOF\n";
    return {whole.begin(), whole.end()};
}

// Titles of the fixtures, and what a film adds to them.
TEST(Details, OfFilmsAndDocumentsAreReadInTheBox) {
    const TempFolder folder;
    const std::vector<std::string> names{"letter.doc", "letter.docx", "letter.odt", "tagged.mp3",
                                         "film.mov",   "stream.ts",   "dated.pdf",  "video.rm",
                                         "mono.pcx",   "layers.xcf",  "rgb8.png"};
    Bytes medium;
    for (const std::string& name : names) {
        const Bytes file = name == "dated.pdf" ? PdfWith(R"(<</Title(A \(b\))/CreationDate(D:20210504123310+02'00')>>)")
                                               : Fixture(name);
        medium.insert(medium.end(), file.begin(), file.end());
        medium.resize((medium.size() / 4096 + 1) * 4096);
    }
    // The picture library gives up on a chunk that goes on beyond the last file.
    const Bytes chunk = ::test::BytesOf("IDAT");
    *(std::search(medium.begin(), medium.end(), chunk.begin(), chunk.end()) - 4) = 0x7F;
    WriteFile(folder / "image", medium);
    const ProgramRun run =
        RunProgram("recover " + Quoted(folder / "image") + " --quiet --no-text --out " + Quoted(folder / "out"));
    EXPECT_EQ(run.errors, "");
    std::map<std::string, json> details;
    for (const json& record : ReadLines(folder / "out/report.jsonl")) {
        details[record.value("extension", "")] = record.value("details", json());
    }
    for (const char* document : {"doc", "docx", "odt"}) {
        EXPECT_EQ(details[document]["title"], "Made-up text") << document;
    }
    EXPECT_EQ(details["mp3"]["title"], "A tone");
    EXPECT_EQ(details["mov"], json({{"width", 64}, {"height", 48}}));
    EXPECT_EQ(details["ts"], json({{"width", 48}, {"height", 32}}));
    EXPECT_EQ(details["rm"], json({{"width", 176}, {"height", 144}}));
    EXPECT_EQ(details["png"]["width"], 160);
    EXPECT_EQ(details["pcx"], json({{"width", 120}, {"height", 80}}));
    EXPECT_EQ(details["xcf"], json({{"width", 90}, {"height", 70}}));
    EXPECT_EQ(details["pdf"], json({{"title", "A (b)"}, {"taken", "2021-05-04T12:33:10"}}));
}

// A chunk's checksum covers its name and its data.
Bytes Chunk(const char* name, const Bytes& data) {
    const Bytes summed = Join({::test::BytesOf(name), data});
    return Join({Big(data.size(), 4), summed, Big(crc32_z(0, summed.data(), summed.size()), 4)});
}

Bytes PngOf(std::uint32_t side) {
    return Join({{0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'},
                 Chunk("IHDR", Join({Big(side, 4), Big(side, 4), {8, 2, 0, 0, 0}})),
                 Chunk("IDAT", {}),
                 Chunk("IEND", {})});
}

// Properties with a title of so many bytes, which take about a thousandth when packed.
Bytes PackedProperties(std::size_t titleBytes) {
    const std::string xml = "<p xmlns:dc='d'><dc:title>" + std::string(titleBytes, 'x') + "</dc:title></p>";
    return test::Deflated(Bytes(xml.begin(), xml.end()));
}

// A package whose only member, a packed one, is its properties.
Bytes PackageOf(const Bytes& packed) {
    Bytes package = ::test::ZipArchive({{"docProps/core.xml", packed}});
    const Bytes entry = ::test::BytesOf("PK\1\2");
    package[8] = 8;
    *(std::search(package.begin(), package.end(), entry.begin(), entry.end()) + 10) = 8;
    return package;
}

// Its table of samples claims a thousand million entries, of which some megabytes are there.
Bytes FilmOfManySamples() {
    using ::test::box::Header;
    const Bytes table =
        Join({Header(0xF0000000, "stts"), Big(0, 4), Big(1U << 30U, 4), Bytes(std::size_t{8} << 20, 1)});
    Bytes film = Join({Header(16, "ftyp"), ::test::BytesOf("isom"), Big(0, 4)});
    for (const char* around : {"moov", "trak", "mdia", "minf", "stbl"}) {
        film = Join({film, Header(0xF0000100, around)});
    }
    return Join({film, table});
}

FileDetails Known(const std::string& taken, std::int64_t width, std::int64_t height, const std::string& title) {
    return {.taken = taken, .width = width, .height = height, .title = title, .camera = "", .preview = ""};
}

TEST(Details, OfTextsAreInTheirFirstLines) {
    const std::pair<std::string, FileDetails> cases[] = {
        {"<!DOCTYPE html><HTML><head><TITLE lang='en'>\n Salt &amp;\n  pepper </TITLE></head></HTML>",
         Known("", 0, 0, "Salt & pepper")},
        {"<?xml version='1.0'?><svg width='25.4mm' height='1.5in'><title>A plan</title><g><path d='M0",
         Known("", 96, 144, "A plan")},
        {"<svg width='100%' height='inf' viewBox='0,0 24.4 1e3'/>", Known("", 24, 1000, "")},
        {"<svg width='-5' height='1e300' viewBox='0 0 nan'/>", Known("", 0, 0, "")},
        {"%!PS-Adobe-3.0\n%%Title: (A \\(b\\))\n%%CreationDate: Tue May  4 12:33:10 2021\n%%EndComments\n%%Title: c\n",
         Known("2021-05-04T12:33:10", 0, 0, "A (b)")},
        {std::string("\xC5\xD0\xD3\xC6\x20\0\0\0", 8) + std::string(24, ' ') +
             "%!PS-Adobe-3.0 EPSF-3.0\r\n%%Title: a  b\r\n",
         Known("", 0, 0, "a b")},
        {std::string("\xC5\xD0\xD3\xC6\xFF\xFF\xFF\xFF", 8), Known("", 0, 0, "")},
    };
    for (const auto& [text, expected] : cases) {
        FakeDevice device(Bytes(text.begin(), text.end()));
        EXPECT_EQ(ReadDocumentDetails(device), expected) << text;
    }
}

TEST(Details, OfPicturesWithoutExifAreInTheirHeaders) {
    Bytes icon{0, 0, 1, 0, 3, 0};
    for (const std::uint8_t side : Bytes{32, 0, 48}) {
        icon.insert(icon.end(), {side, side});
        icon.resize(icon.size() + 14);
    }
    // Its maker's title has a length that passes the end.
    Bytes psp = Join({::test::BytesOf("Paint Shop Pro Image File\n\x1A"), Bytes(5), {6, 0, 0, 0}});
    psp = Join({psp, {'~', 'B', 'K', 0, 0, 0}, Little(12, 4), Little(12, 4), Little(640, 4), Little(480, 4)});
    psp = Join({psp, {'~', 'B', 'K', 0, 1, 0}, Little(40, 4), {'~', 'F', 'L', 0, 1, 0}, Little(4, 4)});
    psp = Join({psp, Little(1620131590, 4), {'~', 'F', 'L', 0, 0, 0}, Little(0xFFFFFFFF, 4), ::test::BytesOf("Sea")});
    const std::pair<Bytes, FileDetails> cases[] = {
        {icon, Known("", 256, 256, "")},
        {Fixture("os2.bmp"), Known("", 45, 31, "")},
        {psp, Known("2021-05-04T12:33:10", 640, 480, "Sea")},
        {Join({::test::BytesOf("FOVb"), Bytes(24), Little(2640, 4), Little(1760, 4)}), Known("", 2640, 1760, "")},
    };
    for (const auto& [bytes, expected] : cases) {
        FakeDevice device(bytes);
        EXPECT_EQ(ReadPictureDetails(device, false).known, expected) << expected.width;
    }
}

TEST(Details, PreviewsOfRawsThatTheLibraryDoesNotKnowAreTakenToo) {
    const Bytes jpeg = Fixture("jfif-grey.jpg");
    // One directory: a reduced image in a single strip, which follows.
    const auto dng = [&jpeg](std::uint32_t length) {
        Bytes file{'I', 'I', '*', 0, 8, 0, 0, 0, 4, 0};
        for (const auto& [tag, value] : {std::pair(254U, 1U), {259U, 7U}, {273U, 62U}, {279U, length}}) {
            file = Join({file, Little(tag, 2), Little(4, 2), Little(1, 4), Little(value, 4)});
        }
        return Join({file, Little(0, 4), jpeg});
    };
    const auto length = static_cast<std::uint32_t>(jpeg.size());
    const Bytes raf =
        Join({::test::BytesOf("FUJIFILMCCD-RAW "), Bytes(68), Big(160, 4), Big(length, 4), Bytes(68), jpeg});
    for (const auto& [file, expected] :
         {std::pair(dng(length), jpeg), {dng(length + 1), Bytes()}, {dng(0xFFFFFFFF), Bytes()}, {raf, jpeg}}) {
        FakeDevice device(file);
        EXPECT_EQ(ReadPictureDetails(device, true).preview, expected);
    }
}

TEST(Details, OfWindowsMediaHaveTheDateOfTheFilesProperties) {
    constexpr std::size_t timeOffset = 78;
    Bytes film = Fixture("film.wmv");
    // 2001-04-21 at 00:16:04, in units of 100 ns since 1601.
    const Bytes time = Little(126'322'857'640'000'000, 8);
    std::ranges::copy(time, film.begin() + timeOffset);
    FakeDevice device(film);
    EXPECT_EQ(ReadFilmDetails(device).taken, "2001-04-21T00:16:04");
}

TEST(Details, BombsHaveNone) {
    const auto isEmpty = [](const Bytes& bytes, FileDetails (*read)(MediumSource&)) {
        FakeDevice device(bytes);
        return read(device) == FileDetails();
    };
    FakeDevice picture(PngOf(100000));
    const PictureDetails details = ReadPictureDetails(picture, true);
    EXPECT_EQ(details.known.width, 100000);
    EXPECT_TRUE(details.preview.empty());
    EXPECT_FALSE(isEmpty(PackageOf(PackedProperties(1000)), ReadDocumentDetails));
    EXPECT_TRUE(isEmpty(PackageOf(PackedProperties(std::size_t{64} << 20)), ReadDocumentDetails));
    LoadPdfLibrary();
    for (const char* deep : {"[", "<</Title "}) {
        std::string info;
        for (int i = 0; i < 300000; ++i) {
            info += deep;
        }
        EXPECT_TRUE(isEmpty(PdfWith(info), ReadPdfDetails)) << deep;
    }
    LoadFilmLibrary();
    EXPECT_TRUE(isEmpty(FilmOfManySamples(), ReadFilmDetails));
}

TEST(Details, OfAWorkerThatLiesAreLeftOut) {
    const auto known = [](const std::string& line) {
        const auto answer = AnswerIn(line);
        return answer ? answer->details.known : FileDetails();
    };
    for (const char* line : {"", "[]", "{}", R"({"file":"1"})", R"({"file":1,"taken":5})", R"({"file":1,"preview":[]})",
                             R"({"file":1,"height":9e99})"}) {
        EXPECT_FALSE(AnswerIn(line)) << line;
    }
    EXPECT_TRUE(AnswerIn(R"({"file":1})"));
    EXPECT_EQ(known(R"({"file":1,"taken":"2011-06-18","width":-5,"height":4294967296})"), FileDetails());
    EXPECT_EQ(known(R"({"file":1,"title":"a\u001b[2Jb\n"})").title, "a[2Jb");
    EXPECT_EQ(known(R"({"file":1,"title":")" + std::string(399, 'x') + R"(\u00e9\u00e9"})").title,
              std::string(399, 'x'));
    EXPECT_TRUE(AnswerIn(R"({"file":1,"preview":"PHN2Zz48L3N2Zz4="})")->details.preview.empty());
    EXPECT_EQ(AnswerIn(R"({"file":1,"preview":"/9j/4A=="})")->details.preview, Bytes({0xFF, 0xD8, 0xFF, 0xE0}));
}

}  // namespace

}  // namespace salvor
