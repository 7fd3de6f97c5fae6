#include <gtest/gtest.h>

#include "tests/host/validators/TestPlace.h"
#include "tests/support/Numbers.h"

namespace salvor {

namespace {

using namespace test;

TEST(PictureValidators, TellWholeFilesFromBrokenOnes) {
    const ChangedFixture changes[] = {
        {"sound", "png", "rgb8.png", 1, 0, Verdict::Whole},
        {"a byte of the data", "png", "rgb8.png", 0.6, 1, Verdict::Damaged},
        {"cut", "png", "rgb8.png", 0.6, 0, Verdict::Damaged},
        {"sound", "gif", "animated.gif", 1, 0, Verdict::Whole},
        {"cut", "gif", "animated.gif", 0.9, 0, Verdict::Damaged},
        {"codes overwritten", "gif", "still87.gif", 0.3, 300, Verdict::Damaged},
        {"sound", "tiff", "lzw.tif", 1, 0, Verdict::Whole},
        {"codes overwritten", "tiff", "lzw.tif", 0.5, 100, Verdict::Damaged},
        {"sound", "riff", "lossy.webp", 1, 0, Verdict::Whole},
        {"sound", "xcf", "deep.xcf", 1, 0, Verdict::Whole},
        {"sound", "psd", "packed.psd", 1, 0, Verdict::Whole},
        {"two bytes for each pixel", "psd", "palette.psd", 1, 0, Verdict::Whole},
        {"packed rows overwritten", "psd", "packed.psd", 0.9, 300, Verdict::Damaged},
        {"sound", "pcx", "planes4.pcx", 1, 0, Verdict::Whole},
        {"sound", "bmp", "rle8.bmp", 1, 0, Verdict::Whole},
        {"sound", "ico", "with-png.ico", 1, 0, Verdict::Whole},
        {"sound", "emf", "drawing.emf", 1, 0, Verdict::Whole},
        {"cut", "emf", "drawing.emf", 0.8, 0, Verdict::Damaged},
        {"sound", "tiff", "pages.tif", 1, 0, Verdict::Whole},
        {"sound", "tiff", "deflate.tif", 1, 0, Verdict::Whole},
        {"data overwritten", "tiff", "deflate.tif", 0.5, 100, Verdict::Damaged},
        {"sound", "jpeg", "jfif-baseline.jpg", 1, 0, Verdict::Whole},
        {"sound", "jpeg", "jfif-progressive.jpg", 1, 0, Verdict::Whole},
        {"sound", "jpeg", "jfif-restart.jpg", 1, 0, Verdict::Whole},
        {"codes overwritten", "jpeg", "jfif-baseline.jpg", 0.6, 400, Verdict::Damaged},
        {"a few codes overwritten", "jpeg", "jfif-grey.jpg", 0.6, 100, Verdict::Damaged},
        {"a few codes overwritten", "jpeg", "jfif-grey.jpg", 0.8, 100, Verdict::Damaged},
        {"scans overwritten", "jpeg", "jfif-progressive.jpg", 0.5, 2000, Verdict::Damaged},
        {"codes overwritten", "jpeg", "jfif-restart.jpg", 0.6, 100, Verdict::Damaged},
        {"cut", "jpeg", "jfif-baseline.jpg", 0.8, 0, Verdict::Damaged},
    };
    ExpectVerdicts(changes, true);
}

// Coded data that run into zeros or into another file are cut there, to the byte.
TEST(PictureValidators, CodedDataHaveNoHolesOfZeros) {
    Bytes picture = Fixture("lossless.webp");
    EXPECT_EQ(FindingOf("riff", picture, Pattern(70000)).verdict, Verdict::Whole);
    std::fill_n(picture.begin() + 3000, 1024, std::uint8_t{0});
    EXPECT_EQ(FindingOf("riff", picture, Pattern(70000)).verdict, Verdict::Whole) << "an even colour";
    std::fill_n(picture.begin() + 2560, 2048, std::uint8_t{0});
    const Finding finding = FindingOf("riff", picture, Pattern(70000));
    EXPECT_EQ(finding.verdict, Verdict::Damaged);
    EXPECT_EQ(finding.size, std::ssize(picture));
}

TEST(PictureValidators, JpegIsTruncatedWhereItsDataStop) {
    Bytes file = Fixture("jfif-baseline.jpg");
    file.resize(file.size() * 3 / 4 / 512 * 512);
    const Finding inZeros = FindingOf("jpeg", file, Bytes(8192));
    EXPECT_EQ(inZeros.verdict, Verdict::Truncated);
    EXPECT_LE(inZeros.size, std::ssize(file));
    EXPECT_GE(inZeros.size, std::ssize(file) - 4);
    const auto end = std::ssize(file);
    const Neighbours neighbours{{3 + end / 512}, {}};
    const Finding inAnother = FindingOf("jpeg", file, Fixture("rgb8.png"), neighbours);
    EXPECT_EQ(inAnother.verdict, Verdict::Truncated);
    EXPECT_EQ(inAnother.size, end);
}

// What phones append: a film that the metadata declare, another picture in the middle of a sector.
TEST(PictureValidators, JpegTakesWhatIsAppended) {
    const Bytes picture = Fixture("jfif-grey.jpg");
    const std::string packet = "http://ns.adobe.com/xap/1.0/" + std::string(1, '\0') +
                               R"(<rdf:Description GCamera:MicroVideo="1" GCamera:MicroVideoOffset="100"/>)";
    Bytes file(picture.begin(), picture.begin() + 2);
    file.insert(file.end(), {0xFF, 0xE1, 0, static_cast<std::uint8_t>(packet.size() + 2)});
    file.insert(file.end(), packet.begin(), packet.end());
    file.insert(file.end(), picture.begin() + 2, picture.end());
    const std::string_view box(
        "\0\0\0\x10"
        "ftypmp42\0\0\0\0",
        16);
    file.insert(file.end(), box.begin(), box.end());
    file.resize(file.size() + 84, 0x55);
    EXPECT_EQ(FindingOf("jpeg", file, Pattern(4096)).size, std::ssize(file));

    Bytes two = picture;
    two.insert(two.end(), picture.begin(), picture.end());
    ASSERT_NE(picture.size() % 512, 0U);
    EXPECT_EQ(FindingOf("jpeg", two, Pattern(4096)).size, std::ssize(two));
}

// What picture managers append, one after the other.
TEST(PictureValidators, PicturesEndBehindTheirTrailers) {
    using namespace std::string_literals;
    const auto with = [](Bytes file, const std::string& trailer) {
        file.insert(file.end(), trailer.begin(), trailer.end());
        return file;
    };
    const std::string dataSets =
        "\x1C\2\xDD\0\4\0\0\0\1\0\0\0\x09"
        "cbipcbbl"s;
    for (const auto& [validator, name] : {std::pair{"jpeg", "jfif-grey.jpg"}, {"psd", "packed.psd"}}) {
        const Bytes picture = with(Fixture(name), dataSets);
        const auto start = static_cast<std::uint32_t>(picture.size());
        Bytes file = with(picture, "AXS!\0\1\0\1\0\0\0\0IPTC\0\0\0\7....datasetAXS!........"s);
        ::test::PutNumber(file, start + 20, start + 24, 4, true);
        ::test::PutNumber(file, start + 35, start, 4, true);
        file.resize(start + 43);
        file = with(file, file.size() % 2 == 0 ? "" : "\0"s);
        file = with(file, "\x1C\2\0\0\0\1\0\0\0\x0E\xA1\xB2\xC3\xD4x\0\2\0\0\0\x0B\xA1\xB2\xC3\xD4"s);
        ExpectWhole(validator, file, "trailers");
        file[start + 38] ^= 1U;
        EXPECT_EQ(FindingOf(validator, file, Pattern(4096)).size, std::ssize(picture)) << "a foot that leads elsewhere";
    }
    ExpectWhole("jpeg", with(Fixture("jfif-grey.jpg"), "QDIOe\0\0\0\1\0\0\0soundset\x14\0\0\0QDIOBS"s), "sounds");
}

Bytes WithNumbers(std::string_view text, std::initializer_list<std::pair<std::size_t, std::uint32_t>> numbers,
                  std::size_t size) {
    Bytes bytes(text.begin(), text.end());
    bytes.resize(size);
    for (const auto& [offset, number] : numbers) {
        ::test::PutNumber(bytes, offset, number, 4, true);
    }
    return bytes;
}

// The sensor data are measured by the header alone: another whole file can lie in them only if they were removed.
TEST(PictureValidators, RawsEndBeforeTheNextWholeFile) {
    // A block of 24 bytes, 64 by 32 pixels of 16 bits.
    const std::string_view mark("\0MRM\0\0\0\x20\0PRD", 12);
    Bytes minolta = WithNumbers(mark, {{12, 24}, {24, 32U << 16U | 64U}, {32, 16U << 24U}}, 40);
    minolta.resize(40 + 4096, 0x5A);
    const Finding whole = FindingOf("mrw", minolta, Pattern(4096));
    EXPECT_EQ(whole.verdict, Verdict::Whole);
    EXPECT_EQ(whole.size, 40 + 4096);
    const Finding pruned = FindingOf("mrw", minolta, Pattern(4096), {{}, {3 + 2}});
    EXPECT_EQ(pruned.verdict, Verdict::Truncated);
    EXPECT_EQ(pruned.size, 1024);
    const Bytes fuji =
        WithNumbers("FUJIFILMCCD-RAW ", {{84, 148}, {88, 100}, {100, 300}, {104, 900}, {148, 0xFFD8FFE0}}, 1200);
    EXPECT_EQ(FindingOf("raf", fuji, Pattern(4096)).size, 1200);
}

Bytes SmoothSensorData(std::size_t pairs) {
    Bytes packed;
    for (std::size_t i = 0; i < pairs; ++i) {
        packed.insert(packed.end(), {static_cast<std::uint8_t>(0x40 + i % 9), 0x53, static_cast<std::uint8_t>(i)});
    }
    return packed;
}

// A raw whose sensor data were removed ends with its header, whatever follows.
TEST(PictureValidators, StrippedRawsEndWhereTheirDataDo) {
    // 256 by 128 pixels of 12 bits.
    Bytes minolta =
        WithNumbers({"\0MRM\0\0\0\x20\0PRD", 12}, {{12, 24}, {24, 128U << 16U | 256U}, {32, 0x0C0C5200}}, 40);
    EXPECT_EQ(FindingOf("mrw", minolta, Pattern(60000)).size, 40);
    EXPECT_EQ(FindingOf("mrw", minolta, Bytes(60000)).verdict, Verdict::Truncated);
    const Bytes data = SmoothSensorData(64 * 256);
    minolta.insert(minolta.end(), data.begin(), data.end());
    const Finding whole = FindingOf("mrw", minolta, Pattern(60000));
    EXPECT_EQ(whole.verdict, Verdict::Whole);
    EXPECT_EQ(whole.size, static_cast<std::int64_t>(minolta.size()));

    // A thumbnail of 40 by 30, 300 by 200 pixels.
    const std::string_view lines = "DSC-Image\r\nHDR=512\r\nTX =40\r\nTY =30\r\nX  =300\r\nY  =200\r\nEOHD\r\n";
    Bytes rollei(lines.begin(), lines.end());
    rollei.resize(512, ' ');
    EXPECT_EQ(FindingOf("rdc", rollei, Bytes(60000)).size, 512);
    rollei.resize(512 + 40 * 30 * 2 + 300 * 200 * 10 / 8, 0x5A);
    EXPECT_EQ(FindingOf("rdc", rollei, Bytes(60000)).verdict, Verdict::Whole);
    EXPECT_EQ(FindingOf("rdc", rollei, Pattern(60000)).size, static_cast<std::int64_t>(rollei.size()));
}

// The removed picture leaves offsets that now lead to other bytes.
TEST(PictureValidators, TiffWithoutItsJpegIsTruncated) {
    Bytes file = Fixture("strip.tif");
    const Bytes plain{0x03, 0x01, 0x03, 0, 1, 0, 0, 0, 1, 0};
    const auto compression = std::search(file.begin(), file.end(), plain.begin(), plain.end());
    ASSERT_NE(compression, file.end());
    compression[8] = 7;
    EXPECT_EQ(FindingOf("tiff", file, Pattern(9000)).verdict, Verdict::Truncated);
}

TEST(PictureValidators, TiffWithACutJpegIsNotWhole) {
    Bytes file = Fixture("version.dng");
    const Bytes deflated{0x03, 0x01, 0x03, 0, 1, 0, 0, 0, 8, 0};
    const Bytes offset{0x11, 0x01, 0x04, 0, 1, 0, 0, 0};
    const auto compression = std::search(file.begin(), file.end(), deflated.begin(), deflated.end());
    const auto strip = std::search(file.begin(), file.end(), offset.begin(), offset.end());
    ASSERT_NE(compression, file.end());
    ASSERT_NE(strip, file.end());
    compression[8] = 7;
    const std::size_t data = LoadLittle<std::uint32_t>(file, static_cast<std::size_t>(strip - file.begin()) + 8);
    file[data] = 0xFF;
    file[data + 1] = 0xD8;
    file[data + 2] = 0xFF;
    EXPECT_EQ(FindingOf("tiff", file, Pattern(9000)).verdict, Verdict::Damaged);
    file[file.size() - 4] = 0xFF;
    file[file.size() - 3] = 0xD9;
    EXPECT_EQ(FindingOf("tiff", file, Pattern(9000)).verdict, Verdict::Whole);
}

// Two pages of 2 entries. What some writers leave behind the last one is known by what is behind the first.
TEST(PictureValidators, TiffEndsLikeItsEarlierPages) {
    const std::string_view header("II*\0\x08\0\0\0", 8);
    const std::string_view page("\2\0\x11\1\4\0\1\0\0\0\2\0\0\0\x17\1\4\0\1\0\0\0\4\0\0\0", 26);
    const auto pages = [&](std::uint8_t second, std::string_view behind, std::string_view last) {
        Bytes file(header.begin(), header.end());
        for (const std::string_view part :
             {page, std::string_view("X\0\0\0", 4), behind, page, std::string_view("\0\0\0\0", 4), last}) {
            file.insert(file.end(), part.begin(), part.end());
        }
        file[header.size() + page.size()] = second;
        return file;
    };
    const Bytes copies = pages(54, "the same values.", "the same values.");
    EXPECT_EQ(FindingOf("tiff", copies, Pattern(9000)).size, std::ssize(copies));
    const Bytes others = pages(54, "the same values.", "but other values");
    EXPECT_EQ(FindingOf("tiff", others, Pattern(9000)).size, std::ssize(others) - 16);
    const std::string filler = std::string(10, '\0') + std::string(header);
    const Bytes joined = pages(56, filler, std::string(10, '\0'));
    EXPECT_EQ(FindingOf("tiff", joined, Pattern(9000)).size, std::ssize(joined));
}

// Photoshop's directory is in front, other programs' behind the strip of 3 bytes.
TEST(PictureValidators, TiffOfPhotoshopIsPaddedIfOnlyPhotoshopWroteIt) {
    const std::string_view front(
        "II*\0\x08\0\0\0"
        "\3\0\x11\1\4\0\1\0\0\0\x32\0\0\0\x17\1\4\0\1\0\0\0\3\0\0\0\x49\x86\1\0\4\0\0\0IPTC\0\0\0\0"
        "abc\0\0\0",
        56);
    const std::string_view behind(
        "II*\0\x0C\0\0\0"
        "abc\0"
        "\3\0\x11\1\4\0\1\0\0\0\x08\0\0\0\x17\1\4\0\1\0\0\0\3\0\0\0\x49\x86\1\0\4\0\0\0IPTC\0\0\0\0",
        54);
    EXPECT_EQ(FindingOf("tiff", {front.begin(), front.end()}, Pattern(9000)).size, 56);
    EXPECT_EQ(FindingOf("tiff", {behind.begin(), behind.end()}, Pattern(9000)).size, 54);
}

// A strip of 3 bytes behind the metadata.
TEST(PictureValidators, TiffIsPaddedByTheProgramThatItsMetadataName) {
    const std::string_view text(
        "II*\0\x08\0\0\0"
        "\3\0\x11\1\4\0\1\0\0\0\x52\0\0\0\x17\1\4\0\1\0\0\0\3\0\0\0\xBC\2\1\0\x20\0\0\0\x32\0\0\0\0\0\0\0"
        "x:xmptk='Image::ExifTool 12.57' strip",
        50 + 32 + 4);
    Bytes file(text.begin(), text.end());
    file.back() = 0;
    EXPECT_EQ(FindingOf("tiff", file, Pattern(9000)).size, 86);
    file[60] = '-';
    EXPECT_EQ(FindingOf("tiff", file, Pattern(9000)).size, 85);
    std::ranges::copy(std::string_view("-Exiv2\""), file.begin() + 60);
    EXPECT_EQ(FindingOf("tiff", file, Pattern(9000)).size, 86);
    // The metadata are behind the strip.
    file[18] = 0x32;
    file[42] = 0x35;
    EXPECT_EQ(FindingOf("tiff", file, Pattern(9000)).size, 85);
}

// A computed brush and a sampled one of 3 by 2 points, in rows with their lengths in front.
TEST(PictureValidators, EarlyBrushesAreCountedAndMeasured) {
    const std::string_view brushes(
        "\0\1\0\2\0\1\0\0\0\x0E\0\0\0\0\0\x19\0\x0D\0\x64\0\0\0\x50"
        "\0\2\0\0\0\x2C\0\0\0\0\0\x19\1\0\0\0\0\0\2\0\3\0\0\0\0\0\0\0\0\0\0\0\2\0\0\0\3\0\x08\1"
        "\0\2\0\4\xFE\0\2\1\2\3",
        24 + 50);
    Bytes file(brushes.begin(), brushes.end());
    const Finding whole = FindingOf("abr", file, Pattern(9000));
    EXPECT_EQ(whole.verdict, Verdict::Whole);
    EXPECT_EQ(whole.size, 24 + 50);
    file[67] = 5;
    EXPECT_EQ(FindingOf("abr", file, Pattern(9000)).verdict, Verdict::Damaged);
}

// The outer directory is at the end and holds its own offset; that of an inner heap counts from elsewhere.
TEST(PictureValidators, CrwIsWholeWithAllItsDirectories) {
    using ::test::PutNumber;
    Bytes file = Pattern(26 + 3000);
    std::copy_n("II\x1A\0\0\0HEAPCCDR", 14, file.begin());
    // An inner heap of 100 bytes with one value in 80.
    const auto put = [&file](std::size_t at, std::initializer_list<std::pair<std::uint32_t, int>> fields) {
        for (const auto& [number, width] : fields) {
            file.resize(std::max(file.size(), at + static_cast<std::size_t>(width)));
            PutNumber(file, at, number, static_cast<std::size_t>(width));
            at += static_cast<std::size_t>(width);
        }
    };
    put(26 + 2900 + 84, {{1, 2}, {0x0805, 2}, {80, 4}, {0, 4}, {84, 4}});
    put(26 + 3000, {{2, 2}, {0x2005, 2}, {2900, 4}, {0, 4}, {0x300A, 2}, {100, 4}, {2900, 4}, {3000, 4}});
    const Finding whole = FindingOf("crw", file, Pattern(9000));
    EXPECT_EQ(whole.verdict, Verdict::Whole) << whole.why;
    EXPECT_EQ(whole.size, static_cast<std::int64_t>(file.size()));
    put(26 + 2900 + 84, {{1, 2}, {0x0805, 2}, {85, 4}});
    EXPECT_EQ(FindingOf("crw", file, Pattern(9000)).verdict, Verdict::Damaged);
}

// Foreign bytes follow right after the last word, or what tools leave before the zeros of the last sector.
TEST(PictureValidators, DrawingsAndBitmapsEndWithTheirLastByte) {
    const std::string text = "  0\nSECTION\n  2\nENTITIES\n  0\nPOINT\n  8\n0\n  0\nENDSEC\n  0\nEOF";
    for (const auto& [tail, behind] : {std::pair{"", Pattern(9000)},
                                       {"\n", Pattern(9000)},
                                       {"\n\n", Bytes(9000)},
                                       {"\r\n\x1A", Pattern(9000)},
                                       {"\n999\nlast\n", Bytes(9000)}}) {
        const std::string drawing = text + tail;
        const Finding finding = FindingOf("dxf", {drawing.begin(), drawing.end()}, behind);
        EXPECT_EQ(finding.verdict, Verdict::Whole) << finding.why;
        EXPECT_EQ(finding.size, static_cast<std::int64_t>(drawing.size()));
    }
    std::string macintosh = text + "\n";
    std::ranges::replace(macintosh, '\n', '\r');
    EXPECT_EQ(FindingOf("dxf", {macintosh.begin(), macintosh.end()}, Pattern(9000)).size, std::ssize(macintosh));
    // The number of records in a field that should be 0.
    Bytes counted = Fixture("plain.wmf");
    counted[16] = 2;
    ExpectWhole("wmf", counted, "records counted");
    Bytes bitmap = Fixture("rgb24.bmp");
    bitmap.push_back('\n');
    EXPECT_EQ(FindingOf("bmp", bitmap, Bytes(9000)).size, static_cast<std::int64_t>(bitmap.size()));
    EXPECT_EQ(FindingOf("bmp", bitmap, Pattern(9000)).size, static_cast<std::int64_t>(bitmap.size()) - 1);
    // A compound file ends with a sector.
    Bytes document = Fixture("table.xls");
    document.push_back('\n');
    EXPECT_EQ(FindingOf("compound", document, Bytes(9000)).size, std::ssize(document));
    EXPECT_EQ(FindingOf("compound", document, Pattern(9000)).size, std::ssize(document) - 1);
    // Without the file's size, the size of the pixels confirms it.
    std::fill_n(bitmap.begin() + 2, 4, std::uint8_t{0});
    EXPECT_EQ(FindingOf("bmp", bitmap, Pattern(9000)).verdict, Verdict::Whole);
    std::fill_n(bitmap.begin() + 34, 4, std::uint8_t{0});
    EXPECT_EQ(FindingOf("bmp", bitmap, Pattern(9000)).verdict, Verdict::Open);
    // A size in the header that is more than its pixels fill.
    bitmap = Fixture("rgb24.bmp");
    bitmap[3] = static_cast<std::uint8_t>(bitmap[3] + 2);
    EXPECT_EQ(FindingOf("bmp", bitmap, Bytes(9000)).size, std::ssize(bitmap));
}

// The directory ends the file and holds its own offset; others before it do not.
TEST(PictureValidators, X3fEndsWithItsDirectory) {
    Bytes file = Pattern(5000);
    std::copy_n("FOVb", 4, file.begin());
    for (const std::uint32_t place : {100U, 4000U}) {
        std::size_t at = place;
        for (const std::uint32_t number : {0x64434553U, 0x20000U, 1U, 40U, 60U, 0x32474D49U, 4000U}) {
            ::test::PutNumber(file, at, number, 4, false);
            at += 4;
        }
    }
    const Finding finding = FindingOf("x3f", file);
    EXPECT_EQ(finding.verdict, Verdict::Whole);
    EXPECT_EQ(finding.size, 4028);
}

}  // namespace

}  // namespace salvor
