#include <gtest/gtest.h>

#include <string>

#include "tests/support/Scan.h"

namespace {

using namespace test;

constexpr std::int32_t Html = 26;
constexpr std::int32_t Xml = 27;

const std::string Text = "<p>" + std::string(300, 'x');
const std::string Declaration = "<?xml version=\"1.0\"?>";
const std::string Bookmarks = "<!DOCTYPE NETSCAPE-Bookmark-file-1><title>B</title><meta><body>";

// Text up to a sector's end, where the next file begins.
std::string UpToSectorEnd(const std::string& start, const std::string& end) {
    return start + std::string(1024 - start.size() - end.size(), 'x') + end;
}

std::string Wide(const std::string& text, bool isBigEndian) {
    std::string wide = isBigEndian ? "\xFE\xFF" : "\xFF\xFE";
    for (const char c : text) {
        wide += isBigEndian ? std::string{'\0', c} : std::string{c, '\0'};
    }
    return wide;
}

// The finds in a file and in what follows it.
Finds FindsIn(std::int32_t type, const std::string& bytes) {
    Medium medium;
    medium.Put(2, bytes);
    medium.Grow(medium.SectorCount() + 2);
    return ScanAtEverySplit(type, medium);
}

TEST(Markup, IsFoundWholeOrNotAtAll) {
    const struct {
        std::int32_t type;
        std::string file;
        bool isFound;
    } cases[] = {
        {Html, "<!doctype\nhtml>" + Text + "</HTML\t>\r\n\r\n", true},
        {Html, "\xEF\xBB\xBF \n<hTmL lang=x>" + Text, true},
        {Html, "<htmlx>" + Text + "</html>", false},
        {Html, Bookmarks + Text + "</html>", false},
        {Html, "<head><title>T</title><title>" + Text.substr(3) + "</html>", false},
        {Html, "<head><title>T</title><body>" + Text + "</html>", true},
        {Html, "<head><p><<p><P>" + Text + "</html>", false},
        {Html, "<head><p><<p><b><P><Br>" + Text + "</html>", true},
        {Html, "<head><title>T</title><body>" + Text + "</body>", true},
        {Html, "<head><title>T</title><body>" + Text, false},
        {Html, "<!-- c --><!--d-->\n<html>" + Text, true},
        {Html, "<!--" + std::string(2048, 'c') + "--><html>" + Text, false},
        {Html, "<html>" + Text + "write(\"</html>\"); <!-- </html> --></html>\n", true},
        {Html, "<html>" + Text + "</html>\n<!-- " + std::string(600, 'c') + " --><p>served</p>\n", true},
        {Html, "<html>" + Text + "</html>\nserved", true},
        {Html, Declaration + "<!-- c --><?p?><x:HTML>" + Text + "</x:html>\n", true},
        {Xml, Declaration + "<!-- c --><?p?><x:HTML>" + Text + "</x:html>\n", false},
        {Html, Declaration + "<page>" + Text + "</html>\n", false},
        {Xml, Declaration + "<a><ab></ab><a x='>'/><a></a>" + Text + "</a\n>\n<?p?>\n<!-- </b> -->\n\n", true},
        {Xml, Declaration + "<a x='" + Text + "'/>\n", true},
        {Xml, Declaration + "<!DOCTYPE a [<!ENTITY b \"]>\"><!-- ' --><?p \">?>]><a>" + Text + "</a>", true},
        {Xml, Declaration + "<a><![CDATA[</a>" + Text + "]]><!-- </a> --></a>", true},
        {Xml, "<?xml version='1.0'" + std::string(300, ' ') + "?><a>" + Text + "</a>", false},
        {Xml, "<?xml encoding='UTF-8'?><a>" + Text + "</a>", false},
        {Xml, Declaration + "<!--" + std::string(0x10000, 'c') + "--><a>" + Text + "</a>", false},
        {Xml, Declaration + "text<a>" + Text + "</a>", false},
        {Xml, Wide(Declaration + "<a><b/>" + Text + "</a>\n", false), true},
        {Xml, Wide(Declaration + "<a><b/>" + Text + "</a>\n", true), true},
        {Html, Wide("\n<html>" + Text + "</html>\n", true), true},
    };
    for (const auto& tested : cases) {
        const Finds expected = tested.isFound ? Finds{{2, static_cast<std::int64_t>(tested.file.size())}} : Finds{};
        EXPECT_EQ(FindsIn(tested.type, tested.file), expected) << tested.type << ' ' << tested.file.substr(0, 80);
    }
}

TEST(Markup, EndsInFrontOfWhatIsNotItsOwn) {
    const std::string page = "<html>" + Text + "</html>\n";
    const std::string document = Declaration + "<a><b/>" + Text;
    const auto sizeOf = [](const std::string& text) {
        return static_cast<std::int64_t>(text.size());
    };
    const struct {
        std::int32_t type;
        std::string bytes;
        Finds finds;
    } cases[] = {
        {Html, UpToSectorEnd("<html>", "</html>") + page, {{2, 1024}, {4, sizeOf(page)}}},
        {Html, UpToSectorEnd("<html>", "</body>") + page, {{2, 1024}, {4, sizeOf(page)}}},
        {Html, UpToSectorEnd("<html>", "</html>\n") + "\n\n a text", {{2, 1024}}},
        {Html, page + " \x02", {{2, sizeOf(page)}}},
        {Html, "<html>" + Text + "</html>)\x02", {{2, sizeOf(page) - 1}}},
        {Html, "<html>" + Text + "\x02", {}},
        {Xml, document + "<c/><c\x02", {{2, sizeOf(document) + 4}}},
        {Xml, Declaration + "<a>" + Text + "\x02", {}},
        {Xml, UpToSectorEnd(document, "<d/>") + document + "</a>", {{2, 1024}, {4, sizeOf(document) + 4}}},
        {Xml, document + "</a><b>", {{2, sizeOf(document) + 4}}},
    };
    for (const auto& tested : cases) {
        EXPECT_EQ(FindsIn(tested.type, tested.bytes), tested.finds) << tested.bytes.substr(0, 80);
    }
}

// The prolog of the first document may not reach as far as that of the second, which begins inside its document type.
TEST(Markup, LongPrologsBeginInEachOther) {
    std::string second = Declaration + "<!DOCTYPE a [";
    second.append(0x10000 - 1024 - 2 - second.size(), ' ').append("<!-- < -->]><a><b/>" + Text + "</a>");
    const std::string bytes = UpToSectorEnd(Declaration + "<!DOCTYPE a [", "") + second;
    EXPECT_EQ(FindsIn(Xml, bytes), (Finds{{4, static_cast<std::int64_t>(second.size())}}));
}

// Behind tags that say nothing, the start of the next page is seen with and without a mark in front of it.
TEST(Markup, PagesOfManyTagsEndInFrontOfTheNext) {
    std::string tags = "<html>";
    while (tags.size() < 1000) {
        tags += "<p><h<!";
    }
    const std::string page = UpToSectorEnd(tags, "");
    const std::string next = "<html>\x02";
    EXPECT_EQ(FindsIn(Html, page + next), (Finds{{2, 1024}}));
    EXPECT_EQ(FindsIn(Html, page + "\xEF\xBB\xBF" + next), (Finds{{2, 1024}}));
    EXPECT_EQ(FindsIn(Html, tags + next), (Finds{{2, static_cast<std::int64_t>(tags.size()) + 6}}));
    for (const bool isBigEndian : {false, true}) {
        const std::string wide = Wide(page.substr(0, 1023), isBigEndian) + Wide(next, isBigEndian);
        EXPECT_EQ(FindsIn(Html, wide), (Finds{{2, 2048}}));
    }
}

TEST(Markup, EndTagsMayLieAcrossReads) {
    for (int length = 16370; length < 16400; ++length) {
        const std::string fill(static_cast<std::size_t>(length), 'x');
        for (const auto& [type, start, end] :
             {std::tuple(Html, "<html>", "</html>\n"), std::tuple(Xml, Declaration.c_str(), "</a>\n")}) {
            const std::string file = start + std::string("<a>") + fill + end;
            Medium medium;
            medium.Put(2, file).Grow(40);
            const Finds expected{{2, static_cast<std::int64_t>(file.size())}};
            ASSERT_EQ(Scan(type, medium, 1), expected) << length;
        }
    }
}

}  // namespace
