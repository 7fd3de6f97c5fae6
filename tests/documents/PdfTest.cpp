#include <gtest/gtest.h>

#include <string>

#include "frame/read/FileWindow.h"
#include "tests/support/Scan.h"
#include "tests/support/SparseMedium.h"

namespace {

using Finds = std::vector<test::Found>;

constexpr std::int32_t PdfIndex = 31;
constexpr std::int32_t DrawingIndex = 74;
constexpr std::int64_t FileSector = 2;

std::string Fill(std::size_t count) { return std::string(count, 'x'); }

/// A section and the end mark that leads to it, or `shift` bytes past it.
std::string EndOf(const std::string& file, std::int64_t shift = 0) {
    return "xref\n0 0\ntrailer<<>>\nstartxref\n" + std::to_string(static_cast<std::int64_t>(file.size()) + shift) +
           "\n%%EOF";
}

/// The file, grown by `between`, and such an end.
std::string Ended(const std::string& file, const std::string& between = Fill(300), std::int64_t shift = 0) {
    return file + between + EndOf(file + between, shift);
}

const std::string Head = "%PDF-1.4\n";
const std::string Whole = Ended(Head);
const std::string Update = "\n3 0 obj\n<<>>\nendobj\n";
/// Its dictionary tells its length, which includes a line end.
const std::string Linearized = Ended(Head + "1 0 obj<</Linearized 1/L 1100>>endobj", Fill(1012)) + "\n";
const std::string DrawingKey = "<</AIPrivateData1 4 0 R>>";

std::string Padded(std::string file) {
    file.resize((file.size() + 511) / 512 * 512);
    return file;
}

struct Case {
    const char* name;
    std::string medium;
    /// The part of the medium that is the file; empty if nothing is found.
    std::string file;
    /// The finds of the type after it.
    Finds others = {};
};

void Expect(std::int32_t type, const Case& each) {
    SCOPED_TRACE(each.name);
    test::Medium medium;
    medium.Grow(FileSector).Put(FileSector, each.medium);
    Finds finds;
    if (!each.file.empty()) {
        finds.push_back({FileSector, static_cast<std::int64_t>(each.file.size())});
    }
    finds.insert(finds.end(), each.others.begin(), each.others.end());
    EXPECT_EQ(test::ScanAtEverySplit(type, medium), finds);
}

const auto Zeros = [](std::size_t count) {
    return std::string(count, '\0');
};

const auto Blanks = [](std::size_t count) {
    return std::string(count, ' ');
};

const Case PdfCases[] = {
    {"version 2", Ended("%PDF-2.0\n"), Ended("%PDF-2.0\n")},
    {"no version", Ended("%PDF-x.4\n"), ""},
    {"form data", Ended("%FDF-1.2\n"), ""},
    {"an end mark alone", Head + Fill(300) + "%%EOF\n", ""},
    {"lost line ends", Ended(Head, Fill(5000), 4096) + "\n", Ended(Head, Fill(5000), 4096) + "\n"},
    {"line end of two bytes", Whole + "\r\n\n.", Whole + "\r\n"},
    {"white space up to the padding", Whole + " \n\n" + Zeros(9) + "x", Whole + " \n\n"},
    {"white space in front of other bytes", Whole + "\n \nx", Whole + "\n"},
    {"much white space in front of other bytes", Whole + "\n    x", Whole + "\n    "},
    {"white space over sectors up to the padding", Whole + Blanks(1500) + Zeros(9) + "x", Whole + Blanks(1500)},
    {"white space up to another file", Whole + Blanks(1536 - Whole.size()) + "\nx",
     Whole + Blanks(1536 - Whole.size())},
    {"more white space than is a file's", Whole + Blanks(4608 - Whole.size()) + "\n" + Zeros(9),
     Whole + Blanks(4096 - Whole.size())},
    {"update behind as much padding as may be", Ended(Whole + Zeros(1023), Update), Ended(Whole + Zeros(1023), Update)},
    {"update behind more padding", Ended(Whole + Zeros(1024), Update), Whole},
    {"first part of a linearized file", Ended(Head + Fill(300) + "xref\nstartxref\n0\n%%EOF" + Update),
     Ended(Head + Fill(300) + "xref\nstartxref\n0\n%%EOF" + Update)},
    {"ends behind a linearized file", Ended(Linearized + Fill(64) + "%%EOF\n"), Linearized},
    {"offset into another file", Head + Fill(300) + "startxref\n7000\n%%EOF", ""},
    {"update with a wrong offset", Whole + Update + "startxref\n4\n%%EOF\n", Whole + Update + "startxref\n4\n%%EOF\n"},
    // A file without a section: its first mark that nothing follows is the end, unless a better one comes.
    {"wrong offset", Head + Fill(300) + "startxref\n9\n%%EOF\n" + Fill(600) + "startxref\n9\n%%EOF\n",
     Head + Fill(300) + "startxref\n9\n%%EOF\n"},
    {"wrong offset in an attached text", Ended(Head + Fill(300) + "startxref\n9\n%%EOF)"),
     Ended(Head + Fill(300) + "startxref\n9\n%%EOF)")},
    {"two files", Padded(Whole) + Whole, Whole, {{FileSector + 1, static_cast<std::int64_t>(Whole.size())}}},
    {"a file behind one without end",
     Padded(Head + Fill(600)) + Whole + "\n" + Fill(700),
     "",
     {{FileSector + 2, static_cast<std::int64_t>(Whole.size()) + 1}}},
    {"a file with its section at the same place",
     Padded(Head + Fill(300) + "xref\n" + Fill(100)) + Whole + "\n" + Fill(700),
     "",
     {{FileSector + 1, static_cast<std::int64_t>(Whole.size()) + 1}}},
    {"an attached file at a sector start",
     Ended(Padded(Head + Fill(6000)) + Whole + "\nendstream"),
     Ended(Padded(Head + Fill(6000)) + Whole + "\nendstream"),
     {{FileSector + 12, static_cast<std::int64_t>(Whole.size()) + 1}}},
    {"key behind the end", Whole + "\n" + DrawingKey, Whole + "\n"},
    {"key in the file", Ended(Head + DrawingKey), ""},
};

const std::string OldHead = "%!PS-Adobe-2.0 EPSF-1.2\r";
const std::string Name = "%%Creator: Adobe Illustrator(TM) 3.2\r";
const std::string OldEnd = "%%Trailer\r%%EOF\r";
const std::string Body = Fill(250) + "\r";

// Found whole, before other text.
std::string Drawing(const std::string& content) { return OldHead + content; }

const Case DrawingCases[] = {
    {"key in a PDF", Ended(Head + DrawingKey), Ended(Head + DrawingKey)},
    {"key behind a PDF", Whole + "\n" + DrawingKey, ""},
    {"creator in brackets", Drawing("%%Creator: (Adobe Illustrator 88)\r" + Body + OldEnd),
     Drawing("%%Creator: (Adobe Illustrator 88)\r" + Body + OldEnd)},
    {"own comments", Drawing("%AI10_Build\r" + Body + OldEnd + "\x04"),
     Drawing("%AI10_Build\r" + Body + OldEnd + "\x04")},
    {"comment of no version", Drawing("%AI2_Build\r" + Body + OldEnd), ""},
    {"another creator", Drawing("%%Creator: (Another)\r" + Body + OldEnd), ""},
    {"creator of a placed file", Drawing("%%BeginDocument: a\r" + Name + Body + "%%EndDocument\r" + OldEnd), ""},
    {"creator far behind", Drawing(Fill(4096) + "\r" + Name + OldEnd), ""},
    {"another revision", "%!PS-Adobe-3.1 EPSF-3.0\r" + Name + Body + OldEnd, ""},
    {"end inside a line", Drawing(Name + Body + "%%Trailer\rx%%EOF\r%%EOF\r"),
     Drawing(Name + Body + "%%Trailer\rx%%EOF\r%%EOF\r")},
    {"end without a trailer", Drawing(Name + Body + "%%EOF\r"), Drawing(Name + Body + "%%EOF\r")},
    {"end in front of the trailer", Drawing(Name + Body + "%%EOF\rgrestore\r" + OldEnd),
     Drawing(Name + Body + "%%EOF\rgrestore\r" + OldEnd)},
    {"placed files in each other",
     Drawing(Name + Body + "%%BeginDocument: a\r%%BeginDocument: b\r" + OldEnd + "%%EndDocument\r" + OldEnd +
             "%%EndDocument\r" + OldEnd),
     Drawing(Name + Body + "%%BeginDocument: a\r%%BeginDocument: b\r" + OldEnd + "%%EndDocument\r" + OldEnd +
             "%%EndDocument\r" + OldEnd)},
    {"data", Drawing(Name + Body + "%%BeginData: 6 Hex Bytes\r%%EOF\r%%EndData\r" + OldEnd),
     Drawing(Name + Body + "%%BeginData: 6 Hex Bytes\r%%EOF\r%%EndData\r" + OldEnd)},
    {"data of a wrong length", Drawing(Name + Body + "%%BeginData: 9999\rff\r%%EndData\r" + OldEnd),
     Drawing(Name + Body + "%%BeginData: 9999\rff\r%%EndData\r" + OldEnd)},
    {"no end comment", Drawing(Name + Body + "%%Trailer\rend\r") + Zeros(2), Drawing(Name + Body + "%%Trailer\rend\r")},
    {"no end", Drawing(Name + Body) + Zeros(600), ""},
    {"no end in front of a PDF", Padded(Drawing(Name + Body)) + Whole + "\n", ""},
};

TEST(Pdf, EndsWithTheLastEndMarkOfItsOwn) {
    for (const Case& each : PdfCases) {
        Expect(PdfIndex, each);
    }
}

TEST(Illustrator, EndsAsItsShapeDoes) {
    for (const Case& each : DrawingCases) {
        Expect(DrawingIndex, each);
    }
}

// A drawing that its own type would cut is whole only as a document. The finds of the drawing type end at its cap.
TEST(Illustrator, LongDrawingsAreDocumentsToo) {
    constexpr std::size_t cap = 0xA00000;
    const std::string longest =
        Ended(Head + DrawingKey, Fill(cap - EndOf(Fill(cap)).size() - Head.size() - DrawingKey.size() + 1));
    for (const std::string& file : {longest, longest + "\n"}) {
        test::Medium medium;
        medium.Put(0, file);
        const auto size = static_cast<std::int64_t>(file.size());
        const bool isLong = file.size() > cap;
        EXPECT_EQ(test::Scan(PdfIndex, medium), isLong ? Finds({{0, size}}) : Finds{}) << size;
        EXPECT_EQ(test::Scan(DrawingIndex, medium), (Finds{{0, std::int64_t{cap}}})) << size;
    }
}

// An object every now and then shows that a file goes on; otherwise a damaged one would be followed over the whole
// medium.
TEST(Pdf, GoesOnAsLongAsObjectsEnd) {
    constexpr std::int64_t MiB = 0x100000;
    constexpr std::int64_t end = 254 * MiB;
    const std::string tail = "xref\n0 0\nstartxref\n" + std::to_string(end) + "\n%%EOF\n";
    for (const bool hasObject : {false, true}) {
        test::SparseMedium medium(300 * MiB);
        medium.Put(0, test::BytesOf(Head)).Put(end, test::BytesOf(tail));
        if (hasObject) {
            medium.Put(127 * MiB, test::BytesOf("endobj\n"));
        }
        EXPECT_EQ(medium.ScanStart(PdfIndex), hasObject ? Finds({{0, 100 * MiB}}) : Finds{});
    }
}

TEST(Pdf, SeesWhatStraddlesTwoReads) {
    for (std::size_t in = 1; in < 20; ++in) {
        const std::string start = Head + Fill(FileWindow::PieceBytes - in - Head.size());
        // The key, and then the end mark, begins `in` bytes before the border.
        const std::string drawing = Ended(start + "/AIPDFPrivateData1 4 0 R");
        const std::size_t behind = EndOf(Head + Fill(10000)).size() - 5;
        const std::string document = Ended(Head, Fill(FileWindow::PieceBytes - in - behind - Head.size()));
        test::Medium medium;
        medium.Put(0, drawing).Put(100, document + "\n");
        EXPECT_EQ(test::Scan(DrawingIndex, medium), (Finds{{0, static_cast<std::int64_t>(drawing.size())}})) << in;
        EXPECT_EQ(test::Scan(PdfIndex, medium), (Finds{{100, static_cast<std::int64_t>(document.size()) + 1}})) << in;
    }
}

// An end mark counts even where too little can be read behind it for the longest text that is looked for.
TEST(Pdf, EndsWhereNothingElseCanBeRead) {
    test::Medium medium;
    medium.Put(0, Ended(Head, Fill(512 - Head.size() - EndOf(Head + Fill(400)).size())));
    SectorBlock block = test::BlockOf(medium);
    block.source = nullptr;
    test::RecordingSink sink;
    test::CreateType(PdfIndex)->ScanBlock(&block, &sink);
    ASSERT_EQ(sink.finds.size(), 1U);
    EXPECT_EQ(sink.finds[0].size, 512);
}

}  // namespace
