#include <gtest/gtest.h>
#include <zlib.h>

#include <random>

#include "host/validators/pdf_end.h"
#include "host/validators/pdf_streams.h"
#include "tests/host/validators/TestPlace.h"
#include "tests/support/Numbers.h"

namespace salvor {

namespace {

using namespace test;

// The document declares no length: it ends with its text, whatever follows in the same sector.
TEST(PaperValidators, WordPerfect5KeepsItsLastSectorInFrontOfForeignBytes) {
    Bytes file{0xFF, 'W', 'P', 'C', 70, 0, 0, 0, 1, 0x0A, 0, 0, 0, 0, 0, 0, 0xFB, 0xFF, 5, 0, 0x32, 0};
    file.resize(70);
    const std::string_view line = "A line of an ordinary letter, of which there are many.\n";
    for (int i = 0; i < 20; ++i) {
        file.insert(file.end(), line.begin(), line.end());
    }
    const auto size = std::ssize(file);
    EXPECT_EQ(FindingOf("wordperfect", file, Bytes(4096)).size, size);
    std::mt19937 random(3);
    Bytes noise(4096);
    std::ranges::generate(noise, [&] { return static_cast<std::uint8_t>(random()); });
    const Finding finding = FindingOf("wordperfect", file, noise);
    EXPECT_EQ(finding.verdict, Verdict::Open);
    EXPECT_GE(finding.size, size);
    EXPECT_LE(finding.size, size + 16);
}

TEST(PaperValidators, PostScriptEndsWithTheLastLineOfItsTrailer) {
    const std::string_view text = "%!PS-Adobe-3.0\n%%Creator: Adobe Illustrator\nshowpage\n%%Trailer\nend\n";
    const Bytes file(text.begin(), text.end());
    EXPECT_EQ(FindingOf("postscript", file, Bytes{'q', 0xE4, 1, 2}).size, std::ssize(file));
    EXPECT_EQ(FindingOf("postscript", file, Bytes{'q', 0, 0, 0}).size, std::ssize(file) + 1);
}

// Comments behind the end belong to the document, but not another document's first line.
TEST(PaperValidators, PdfsKeepTheCommentsBehindTheirEnd) {
    const auto endOf = [](const std::string& document, const std::string& behind) {
        return LookAt(::test::BytesOf(document + behind), Bytes{'%', '%', 0xE4, '\n', 1}, {},
                      [&](Place& place) { return EndOfPdf(place, std::ssize(document)); });
    };
    const std::string document = "%PDF-1.4\nstartxref\n9\n%%EOF\n";
    const std::string comments = "%%Banner\n%%Show job-id\r\n";
    EXPECT_EQ(endOf(document, comments), std::ssize(document + comments));
    EXPECT_EQ(endOf(document, "text\n"), std::ssize(document));
    EXPECT_EQ(endOf(document + ' ', std::string("\0x", 2)), std::ssize(document));
    EXPECT_EQ(endOf(std::string(512 - document.size(), ' ') + document, comments), 512);
}

TEST(PaperValidators, PdfsWithAStreamThatDoesNotUnpackAreDamaged) {
    const Bytes content = Pattern(9000, 5);
    Bytes packed(compressBound(9000));
    uLongf length = packed.size();
    ASSERT_EQ(compress(packed.data(), &length, content.data(), 9000), Z_OK);
    const std::string stream(packed.begin(), packed.begin() + static_cast<std::ptrdiff_t>(length));
    std::string broken = stream;
    broken[broken.size() / 2] ^= 0x10;
    const auto unpack = [](const std::string& first, const std::string& second, const std::string& trailer) {
        const std::string head = "\n1 0 obj\n<</Filter/FlateDecode>>\nstream\r\n";
        const Bytes file = ::test::BytesOf("%PDF-1.4" + head + first + "\nendstream\nendobj" + head + second + trailer);
        return LookAt(file, {}, {}, [&](Place& place) { return DoStreamsUnpack(place, std::ssize(file)); });
    };
    EXPECT_TRUE(unpack(stream, stream, ""));
    EXPECT_FALSE(unpack(stream, broken, ""));
    EXPECT_FALSE(unpack(broken, stream, ""));
    EXPECT_TRUE(unpack(stream, broken, "trailer<</Encrypt 9 0 R>>"));
    EXPECT_TRUE(unpack(stream, "an odd filter's bytes", ""));
}

// One chain of blocks of 256 bytes; the first link is at the end of block 3.
TEST(PaperValidators, QuarkDoesNotFollowAWildLink) {
    Bytes file(40 * 256);
    const std::string_view header("\0\0IIXPR3\x41\0\x41\0", 12);
    std::copy(header.begin(), header.end(), file.begin());
    for (std::size_t block = 3; block < 40; ++block) {
        file[block * 256 - 4] = static_cast<std::uint8_t>(block + 1);
    }
    EXPECT_EQ(FindingOf("quark", file, Pattern(4096)).verdict, Verdict::Whole);
    // To block 10,020, in the foreign bytes after the file.
    file[30 * 256 - 4] = 0x24;
    file[30 * 256 - 3] = 0x27;
    const Finding broken = FindingOf("quark", file, Bytes(3 << 20));
    EXPECT_EQ(broken.verdict, Verdict::Damaged);
    EXPECT_EQ(broken.size, 30 * 256);
}

}  // namespace

}  // namespace salvor
