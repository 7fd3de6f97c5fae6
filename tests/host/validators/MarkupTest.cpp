#include <gtest/gtest.h>

#include <string>
#include <tuple>

#include "host/validators/pdf_end.h"
#include "tests/host/validators/TestPlace.h"
#include "tests/support/Medium.h"

namespace salvor {

namespace {

using namespace std::string_literals;
using test::Bytes;
using ::test::BytesOf;

// What may follow a file: zeros, binary data, another text, and strings of a program.
std::vector<Bytes> Slacks() {
    Bytes binary = BytesOf("q#\x02");
    for (int i = 0; i < 2000; ++i) {
        binary.push_back(static_cast<std::uint8_t>(i * 37 + 3));
    }
    std::string text;
    while (text.size() < 8192) {
        text += "Other words. ";
    }
    Bytes strings = BytesOf("usage: %s");
    strings.resize(5000);
    return {Bytes(5000), binary, BytesOf(text), strings};
}

struct DocumentCase {
    const char* validator;
    std::string file;
    const char* extension = "";
};

std::string Wide(const std::string& text) {
    std::string wide = "\xFF\xFE";
    for (const char letter : text) {
        wide += letter + "\0"s;
    }
    return wide;
}

const std::string Page =
    "<!DOCTYPE html>\n<html><head><title>Nothing</title><script>var s = \"</html>\"; </script>\n"
    "<!-- </html> --></head><body>\xFC\n</body></html>\n";

}  // namespace

TEST(Documents, EndWhereTheirLastMarkSaysBeforeAnythingBehind) {
    const std::string drawing = "<svg xmlns='x'><g><svg/><a t='>'>\xE4</a></g></svg>";
    const DocumentCase cases[] = {
        {"html", Page},
        {"html", Page + "<!-- made by hand -->\n<script>count(\"</body>\");</script>\n"},
        {"html", Wide("<html><body>\r\n</body></html>\r\n")},
        {"html", "<?xml version='1.0'?>\n<!DOCTYPE html>\n<html xmlns='x'><body/></html>\n", "html"},
        {"xml", "<?xml version=\"1.0\"?>\r\n<a><b>text</b><a>]]</a><![CDATA[</a>]]></a>\r\n<!-- end -->\r\n"},
        {"xml", drawing + " \n", "svg"},
        {"xml", "<?xml version='1.0'?>\n<gpx xmlns='x'></gpx>\n", "gpx"},
        {"xml", "<?xml version='1.0'?>\r\n<a>\n</a>\n"},
        {"bookmarks",
         "<!DOCTYPE "
         "NETSCAPE-Bookmark-file-1>\n<TITLE>B</TITLE>\n<DL><p>\n<DT><H3>F</H3>\n<DL><p>\n</DL><p>\n</DL><p>\n"},
        {"mail",
         "Subject: Tea\r\nFrom: a@b.c\r\nMIME-Version: 1.0\r\nContent-Type: multipart/mixed;\r\n boundary=\"=x=\"\r\n"
         "\r\n--=x=\r\nContent-Type: text/plain\r\n\r\nAt five\r\n--=x=\r\nContent-Transfer-Encoding: binary\r\n\r\n"s +
             "\0\1\2\3"s + "\r\n--=x=--\r\n"},
        {"mail",
         "From a@b.c Mon Jan  5 10:00:00 2009\nTo: d\nDate: Mon\n\nOne\n\nFrom a@b.c Tue Jan  6 10:00:00 2009\nTo: d\n"
         "Content-Type: text/html\nDate: Tue\n\n<html>Two</html>\n",
         "mbox"},
        {"mail", "From a@b.c Mon Jan  5 10:00:00 2009\nTo: d\nDate: Mon\nContent-Length: 4\n\nOne\n\n", "mbox"},
        {"mail", "From - \nTo: d\nDate: Mon\nContent-Length: 4\n\nOne\n\n", "mbox"},
        {"rtf", "{\\rtf1\\ansi{\\fonttbl}\\}{\\bin3 }\0}}\\par \\'e4\\{}\r\n"s, "rtf"},
        {"card", "BEGIN:VCARD\r\nFN:A\r\nEND:VCARD\r\n\r\nbegin:vcard\r\nend:vcard\r\n", "vcf"},
        {"card", "BEGIN:VCALENDAR\nVERSION:2.0\nBEGIN:VEVENT\nSUMMARY:x\nEND:VEVENT\nEND:VCALENDAR\n", "ics"},
        {"card", "BEGIN:VCALENDAR\nVERSION:1.0\nEND:VCALENDAR", "vcs"},
        {"mail", "To: d\nDate: Mon\nContent-Transfer-Encoding: base64\n\nQUJDREVGR0hJSktM\nQUJDRA==\n"},
    };
    for (const DocumentCase& document : cases) {
        SCOPED_TRACE(document.file);
        for (const Bytes& slack : Slacks()) {
            const Finding finding = test::FindingOf(document.validator, BytesOf(document.file), slack);
            EXPECT_EQ(finding.verdict, Verdict::Whole) << finding.why;
            EXPECT_EQ(finding.size, std::ssize(document.file));
            EXPECT_EQ(finding.extension, document.extension);
            EXPECT_EQ(test::FindingOf("text", BytesOf(document.file), slack).verdict, Verdict::NoFile);
        }
    }
    EXPECT_EQ(test::FindingOf("xml", BytesOf("  " + drawing + "<p>"), Slacks()[1]).verdict, Verdict::NoFile);
    // A blank line before the rest of another text is that one's.
    EXPECT_EQ(test::FindingOf("xml", BytesOf(drawing + "\n"), BytesOf("\n  of it, and so on\n")).size,
              std::ssize(drawing) + 1);
    // Without a name space, a closed root shows that it is XML; but not a root of pages, and not
    // one that others follow.
    const std::string bare = "<!-- keys -->\n<keys lang=\"en\">\n <key name='x'/>\n</keys>\n";
    EXPECT_EQ(test::FindingOf("xml", BytesOf(bare), Bytes(5000)).size, std::ssize(bare));
    for (const std::string text :
         {"<div><p>x</p></div>\n", "<Directory />\n<If x></If>\n</Directory>\n", "<k><v/></k>\n<k><v/></k>\n"}) {
        EXPECT_EQ(test::FindingOf("xml", BytesOf(text), Bytes(5000)).verdict, Verdict::NoFile) << text;
        EXPECT_EQ(test::FindingOf("text", BytesOf(text), Bytes(5000)).size, std::ssize(text));
    }
    // Another component's end closes none.
    EXPECT_EQ(test::FindingOf("card", BytesOf("BEGIN:VCARD\nFN:A\nEND:VEVENT\n"), Bytes(5000)).verdict,
              Verdict::Damaged);
    // A plain-text message has no end mark of its own.
    const std::string letter = "To: d\nDate: Mon\n\nOne line\nand another\n";
    const Finding plain = test::FindingOf("mail", BytesOf(letter), Slacks()[1]);
    EXPECT_EQ(plain.verdict, Verdict::Open);
    EXPECT_EQ(plain.size, std::ssize(letter));
}

TEST(Documents, JsonEndsWithItsOutermostBracket) {
    const std::string object = "{ \"a\": [1, -2.5e3, true, {}],\n\"b]\": \"\\\"}\", }\n";
    for (const std::string& whole :
         {object, object + object, "\xEF\xBB\xBF[\"\xC3\xA4\"]"s, Wide("[[],\r\n[null]]\r\n")}) {
        SCOPED_TRACE(whole);
        for (const Bytes& slack : Slacks()) {
            const Finding finding = test::FindingOf("json", BytesOf(whole), slack);
            EXPECT_EQ(finding.verdict, Verdict::Whole);
            EXPECT_EQ(finding.size, std::ssize(whole));
            EXPECT_EQ(finding.extension, "json");
        }
    }
    for (const std::string broken :
         {"{\"a\" 1}", "{\"a\": 1]", "{1: 2}", "[\"a\" \"b\"]", "[\"a\", x]", "[\"a\nb\"]", "{\"a\": 1, "}) {
        EXPECT_EQ(test::FindingOf("json", BytesOf(broken)).verdict, Verdict::NoFile) << broken;
    }
    EXPECT_EQ(test::FindingOf("json", Bytes(100000, '[')).verdict, Verdict::NoFile);
}

TEST(Documents, PostScriptEndsAtItsOwnLastComment) {
    const std::string header = "%!PS-Adobe-3.0 EPSF-3.0\n%%Creator: by hand\n";
    const std::string data = "%%BeginBinary: 4\n\0\1\2\3\n%%EndBinary\n"s;
    const std::string placed = "%%BeginDocument: x\n%!PS-Adobe-3.0\n%%EOF\n%%EndDocument\n";
    const std::string whole = header + placed + data + "showpage\n%%Trailer\n%%EOF\n";
    for (const Bytes& slack : Slacks()) {
        const Finding finding = test::FindingOf("postscript", BytesOf(whole), slack);
        EXPECT_EQ(finding.verdict, Verdict::Whole);
        EXPECT_EQ(finding.size, std::ssize(whole));
        EXPECT_EQ(finding.extension, "eps");
    }
    // Illustrator's own drawing behind the last comment belongs to it.
    const std::string appended = whole + "%AI9_PrintingDataEnd\r%AI9_PrivateDataBegin\rx\r%AI9_PrivateDataEnd\r";
    EXPECT_EQ(test::FindingOf("postscript", BytesOf(appended), Slacks()[1]).size, std::ssize(appended));
    // Without a last comment, it is text with a name of its own.
    Bytes behind = Slacks()[1];
    const std::string open = header + "% drawn without a last comment\n";
    behind.resize(1536 - open.size());
    const Bytes other = BytesOf(whole);
    behind.insert(behind.end(), other.begin(), other.end());
    const Neighbours around = {.starts = {3 + 3}, .wholes = {}};
    EXPECT_EQ(test::FindingOf("postscript", BytesOf(open), behind, around).verdict, Verdict::NoFile);
    const Finding cut = test::FindingOf("text", BytesOf(open), behind, around);
    EXPECT_EQ(cut.verdict, Verdict::Open);
    EXPECT_EQ(cut.size, std::ssize(open));
    EXPECT_EQ(cut.extension, "eps");
}

TEST(Documents, AreNotWholeWhenTheyBreak) {
    const Bytes binary = Slacks()[1];
    const std::string xml = "<?xml version='1.0'?>\n<a><b>text</b>\n";
    for (const DocumentCase& document :
         {DocumentCase{"html", Page.substr(0, Page.size() - 10)}, DocumentCase{"xml", xml},
          DocumentCase{"mail", "To: d\nDate: M\nContent-Type: multipart/x; boundary=b\n\n--b\n\n"},
          DocumentCase{"rtf", "{\\rtf1 {\\b text}\\}\n"},
          DocumentCase{"card", "BEGIN:VCALENDAR\nBEGIN:VEVENT\nEND:VEVENT\n"}}) {
        SCOPED_TRACE(document.file);
        EXPECT_EQ(test::FindingOf(document.validator, BytesOf(document.file), binary).verdict, Verdict::Damaged);
        EXPECT_LE(test::FindingOf(document.validator, BytesOf(document.file)).size, std::ssize(document.file));
    }
    EXPECT_EQ(test::FindingOf("xml", BytesOf(xml + "</a>\n")).verdict, Verdict::Whole);
    EXPECT_EQ(test::FindingOf("xml", BytesOf(xml + "</b></a>\n")).verdict, Verdict::Damaged);
    // After its root, a document has only comments and processing instructions.
    Bytes tags = BytesOf("<p>a stranger's</p>\n");
    tags.resize(9000);
    const std::string root = "<?xml version='1.0'?>\n<a/>\n";
    EXPECT_EQ(test::FindingOf("xml", BytesOf(root), tags).size, std::ssize(root));
    // Another page begins in the next sector.
    const std::string padded = Page.substr(0, 28) + std::string(484, 'x') + Page;
    EXPECT_EQ(test::FindingOf("html", BytesOf(padded)).size, 512);
}

TEST(Documents, PdfsKeepWhiteSpaceThatIsTheirOwn) {
    for (const auto& [white, behind, kept] : {std::tuple{"\n\n    \n", "words", 2},
                                              {"\r\n\r\n", "words", 4},
                                              {"     ", "words", 0},
                                              {"\n    \n", "\0", 6}}) {
        const auto endOf = [](Place& file) {
            return EndOfPdf(file, file.Limit() - 5);
        };
        Bytes tail = BytesOf(behind);
        tail.resize(5);
        EXPECT_EQ(test::LookAt(BytesOf("%%EOF"s + white), tail, {}, endOf), 5 + kept) << white;
    }
}

TEST(Documents, PdfsOfIllustratorAreDrawingsIfSavedAsSuch) {
    const auto isDrawing = [](Place& file) {
        return IsSavedAsDrawing(file, 100);
    };
    const std::string drawing = std::string(60, ' ') + "/AIPrivateData1 1 0 R";
    EXPECT_TRUE(test::LookAt(BytesOf(drawing), Bytes(512), {}, isDrawing));
    EXPECT_FALSE(test::LookAt(BytesOf("<</AIMetaData 1 0 R/AIPDFPrivateData1 2 0 R>>"), Bytes(512), {}, isDrawing));
    EXPECT_FALSE(test::LookAt(BytesOf(std::string(40, ' ') + drawing), Bytes(512), {}, isDrawing));
}

TEST(Documents, PdfsLeadToTheirCrossReferenceUnlessBytesAreMissing) {
    for (const auto& [there, offset, leads] : {std::tuple{"xref\n0 1", 1000, true},
                                               {"xref\n0 1", 1007, true},
                                               {"12 0 obj", 1000, true},
                                               {"rest of another", 1000, false},
                                               {"xref\n0 1", 2000, false},
                                               {"xref\n0 1", 0, false}}) {
        const std::string end = std::string(500, ' ') + "startxref\n" + std::to_string(offset) + "\n%%EOF";
        const auto leadsThere = [](Place& file) {
            return LeadsToCrossReference(file, file.Limit());
        };
        EXPECT_EQ(test::LookAt(BytesOf(std::string(1000, 'x') + there + end), {}, {}, leadsThere), leads) << offset;
    }
}

TEST(Documents, TellWebArchivesFromLetters) {
    const std::string end =
        "MIME-Version: 1.0\r\nContent-Type: multipart/related; boundary=b\r\n\r\n--b\r\n\r\nx\r\n--b--\r\n";
    const auto typeOf = [&](const std::string& head) {
        return test::FindingOf("mail", BytesOf(head + end)).type;
    };
    const std::int32_t archive = typeOf("From: <Saved by a browser>\r\nSubject: Page\r\n");
    const std::int32_t letter = typeOf("Received: by x\r\nFrom: <a@b.c>\r\n");
    EXPECT_NE(archive, letter);
    EXPECT_EQ(typeOf("Date: Mon\r\n"), archive);
    EXPECT_EQ(typeOf("To: you\r\nMessage-ID: <1>\r\n"), letter);
}

}  // namespace salvor
