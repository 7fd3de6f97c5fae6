#include <gtest/gtest.h>

#include <string>

#include "tests/host/validators/TestPlace.h"
#include "tests/support/Medium.h"

namespace salvor {

namespace {

using namespace std::string_literals;
using test::Bytes;
using ::test::BytesOf;

// Printable bytes, control characters and letters of code pages in turn, as in binary data.
Bytes Binary(const std::string& first = "") {
    Bytes bytes = BytesOf(first);
    for (int i = 0; i < 4096; ++i) {
        bytes.push_back(static_cast<std::uint8_t>(i * 37 + 3));
    }
    return bytes;
}

Finding TextFinding(const std::string& text, const Bytes& behind) {
    return test::FindingOf("text", BytesOf(text), behind);
}

std::string Lines(const std::string& line, std::size_t count) {
    std::string lines;
    for (std::size_t i = 0; i < count; ++i) {
        lines += line;
    }
    return lines;
}

// `count` bytes of lines of words that are chosen at random.
std::string Written(std::initializer_list<std::string_view> words, std::string_view lineEnd, std::size_t count) {
    const Bytes choice = test::Pattern(count, 5);
    std::string text;
    while (text.size() < count) {
        for (int word = 0; word < 9; ++word) {
            text += std::data(words)[choice[text.size() % count] % words.size()];
        }
        text += lineEnd;
    }
    return text;
}

}  // namespace

TEST(Text, EndsWhereBytesAreNoTextInEveryAlphabet) {
    const std::string plain = Lines("One line of a text is like another.\n", 3000);
    const std::string utf8 = Lines(
        "Gr\xC3\xBC\xC3\x9F"
        "e, \xD0\xBF\xD1\x80\xD0\xB8\n",
        300);
    const std::string latin = Lines(
        "Gr\xFC\xDF"
        "e aus M\xFCnchen\r\n",
        60);
    const std::string cyrillic = Lines("\xCF\xF0\xE8\xE2\xE5\xF2 \xEC\xE8\xF0, \xE8 \xE2\xEE\xF2\r\n", 60);
    const std::string withEscapes = plain + "\x1B[1mbold\x1B[0m and \x07 bell\n" + plain;
    std::string wide = "\xFF\xFE";
    for (const char letter : plain.substr(0, 360)) {
        wide += letter + "\0"s;
    }
    const std::string bigFive = Lines(Lines("\xA4\xA3\xA5\xE7\xA5\x47\xA1\x48\xBE\xC7\xA6\xD3", 5) + "\n", 60);
    for (const std::string& text : {plain, utf8, latin, cyrillic, withEscapes, wide, bigFive, "pip\n"s}) {
        SCOPED_TRACE(text.substr(0, 20));
        const Finding finding = TextFinding(text, Bytes(5000));
        EXPECT_EQ(finding.verdict, Verdict::Open);
        EXPECT_EQ(finding.size, std::ssize(text));
        EXPECT_EQ(TextFinding(text, {}).size, finding.size);
        if (text.size() > 16) {
            EXPECT_EQ(TextFinding(text, Binary("x$\x80")).size, finding.size);
        }
    }
    EXPECT_EQ(TextFinding(plain.substr(0, 80) + "\x1A", Bytes(5000)).size, 81);
    EXPECT_EQ(TextFinding(plain, BytesOf("Usage: %s\n"s + '\0' + "string"s + '\0')).size,
              static_cast<std::int64_t>(plain.size() + 10));
}

TEST(Text, EndsWhereAnotherTextFillsItsCluster) {
    constexpr std::size_t clusterBytes = 4096;
    const std::string prose =
        Written({"The river ", "was wide ", "and nobody ", "crossed it ", "before winter, "}, ".\n", 5000);
    const std::string code =
        Written({"value[12] = ", "table.at(0x3F) ", "{ return; } ", "&& flags ", "|= "}, ";\n", 9000);
    const std::string numbers = Written({"0.125\t", "17\t", "-3.5e7\t", "100\t"}, "\n", 9000);
    const Neighbours onGrid{{}, {}, {clusterBytes / 512, 3}};
    const std::size_t slack = clusterBytes - prose.size() % clusterBytes;
    for (const std::string& behind : {""s, numbers.substr(5, clusterBytes)}) {
        const std::string text = prose + code.substr(9, slack) + behind;
        EXPECT_EQ(test::FindingOf("text", BytesOf(text), Binary("\x80"), onGrid).size, std::ssize(prose));
        EXPECT_GT(TextFinding(text, Binary("\x80")).size, std::ssize(prose));
    }
    // A file that opens with a comment right after a letter.
    const std::string cut = prose.substr(0, clusterBytes - 1) + "a";
    Neighbours clean = onGrid;
    clean.isSlackClean = true;
    EXPECT_EQ(test::FindingOf("text", BytesOf(cut + "# " + code), Bytes(5000), clean).size, std::ssize(cut));
    for (const Bytes& behind : {Binary("\x80"), Bytes(5000)}) {
        EXPECT_EQ(test::FindingOf("text", BytesOf(prose + prose + prose), behind, onGrid).size, std::ssize(prose) * 3);
        EXPECT_EQ(test::FindingOf("text", BytesOf(prose + code), behind, onGrid).size, std::ssize(prose + code));
    }
}

TEST(Text, EndsWithALineThatClosesBeforeTheRestOfAnother) {
    std::string own = "/* counts */\n";
    while (own.size() < 3000) {
        own += "int f" + std::to_string(own.size()) + "(int n)\n{\n    if (n < 2) {\n        return n;\n    }\n}\n";
    }
    const std::string strange =
        Written({"the river ", "was wide ", "and nobody ", "crossed it ", "before winter, "}, ".\n", 5000);
    const std::string text = own + strange.substr(4, 4096 - own.size());
    const Neighbours onGrid{{}, {}, {8, 3}};
    EXPECT_EQ(test::FindingOf("text", BytesOf(text), Binary("\x80"), onGrid).size, std::ssize(own));
    // Without a line end after the last closer.
    own.pop_back();
    const Bytes joined = BytesOf(own + strange.substr(5, 4096 - own.size()));
    EXPECT_EQ(test::FindingOf("text", joined, Binary("\x80"), onGrid).size, std::ssize(own));
    // Up to zeros in the same cluster, but only on a medium where files are followed by other bytes than zeros.
    const Bytes brief = BytesOf(own + "\n" + strange.substr(5, 700));
    Neighbours clean = onGrid;
    EXPECT_EQ(test::FindingOf("text", brief, Bytes(5000), onGrid).size, std::ssize(own) + 1);
    clean.isSlackClean = true;
    EXPECT_EQ(test::FindingOf("text", brief, Bytes(5000), clean).size, std::ssize(brief));
}

TEST(Text, OfIdeographsEndsWhereOneByteIsACharacter) {
    const std::string line = "\x3E\x54\x29\x8F\x6F\x30\x2B\x73\x67\x30\n\0"s;
    const std::string wide = "\xFF\xFE" + Lines(line, 50);
    EXPECT_EQ(TextFinding(wide, BytesOf(Lines("of another text ", 40))).size, std::ssize(wide));
}

TEST(Text, OfOneWordALineGoesOnWhereOtherLettersPrevail) {
    std::string list;
    for (int i = 0; list.size() < 12000; ++i) {
        const auto letter = static_cast<char>('a' + i / 60);
        list += std::string{letter, static_cast<char>('a' + i % 7), letter, static_cast<char>('e' + i % 5)} + "\n";
    }
    const Neighbours onGrid{{}, {}, {8, 3}};
    // The last line is cut off.
    EXPECT_EQ(test::FindingOf("text", BytesOf(list.substr(0, 8192)), Binary("\x80"), onGrid).size, 8190);
    // Base64 of unlike data.
    const std::string letter = Lines("Here is the picture.\n", 150) + "\n" + Lines(std::string(76, 'A') + "\n", 20) +
                               Written({"u7z", "9Kf/", "Wq3", "x+T", "Hj5m"}, "", 76) + "\n";
    const std::string all = letter + Lines(Written({"b", "uZ7", "9e/", "tY3", "0"}, "", 76).substr(0, 76) + "\n", 99);
    EXPECT_EQ(test::FindingOf("text", BytesOf(all), Bytes(5000), onGrid).size, std::ssize(all));
}

TEST(Text, EndsWhereLinesEndOtherwiseUpToTheClustersEnd) {
    const Neighbours onGrid{{}, {}, {8, 3}};
    const std::string head = "To: d\r\nDate: Mon\r\n\r\n";
    const std::string own = Lines("Words of a letter\r\n", 100);
    const std::string strange = Lines("Words of a letter\n", 300);
    const auto sizeOf = [&](const char* validator, const std::string& text) {
        return test::FindingOf(validator, BytesOf(text), Binary("\x80"), onGrid).size;
    };
    EXPECT_EQ(sizeOf("text", own + strange), std::ssize(own));
    EXPECT_EQ(sizeOf("mail", head + own + strange), std::ssize(head + own));
    EXPECT_EQ(sizeOf("text", strange.substr(0, 900) + own), 900);
    // A message's header may fill whole clusters, and no body text may end in them.
    const std::string longHead = Lines("Received: from a by b\r\n", 600) + head;
    EXPECT_EQ(sizeOf("mail", longHead + own + own + own), std::ssize(longHead + own + own + own));
    // A file joined from others returns to its own kind of text.
    const std::string joined = own + strange.substr(0, 900) + own;
    EXPECT_EQ(sizeOf("text", joined), std::ssize(joined));
}

TEST(Text, KeepsALastLineThatIsItsOwn) {
    const std::string object = "{\n" + Lines("  \"key\": 1,\n", 20) + "  \"last\": {}\n";
    for (const std::string last : {"}", "  \"key\": 1,\"last\": {}"}) {
        EXPECT_EQ(TextFinding(object + last, Binary("\x03")).size,
                  static_cast<std::int64_t>(object.size() + last.size()));
    }
    const std::string oneLine = "[" + Lines("0.25,", 2000) + "0]";
    for (const char* const behind : {"\x03", "s~Q\x03"}) {
        EXPECT_EQ(TextFinding(oneLine, Binary(behind)).size, static_cast<std::int64_t>(oneLine.size()));
    }
    EXPECT_EQ(TextFinding(object, Binary("~Q7\x03")).size, static_cast<std::int64_t>(object.size()));
    // Texts end with such bytes, but this one has none of them.
    const std::string words = Lines("Words of a letter\n", 100);
    EXPECT_EQ(TextFinding(words, Binary(">\x03")).size, std::ssize(words));
    // In a code page, bytes go on as text by chance up to another line.
    const std::string greek = Lines("\xBC\xF4\xE1\xED \xF4\xEF \xF6\xF9\xF2.\n", 100);
    EXPECT_EQ(TextFinding(greek, Binary("V\xD3-\xBD\nS\xB9I\x84\xE6\x03")).size, std::ssize(greek));
}

TEST(Text, IsNotWhatIsPrintableByChance) {
    EXPECT_EQ(TextFinding("cannot open file %s for reading", BytesOf("\0no such thing\0"s)).verdict, Verdict::NoFile);
    EXPECT_EQ(TextFinding(std::string(600, 'U'), Binary()).verdict, Verdict::NoFile);
    EXPECT_EQ(TextFinding("\xFE\xFF\x48\x8B\x05\x10\x48\x89\x48\x8D", Binary()).verdict, Verdict::NoFile);
    const Neighbours onGrid{{}, {}, {8, 3}};
    EXPECT_EQ(TextFinding("six_words\n", Binary("\xC3\x0F")).verdict, Verdict::NoFile);
    EXPECT_EQ(test::FindingOf("text", BytesOf("six_words\n"), Binary("\xC3\x0F"), onGrid).size, 10);
    EXPECT_TRUE(TextFinding("), and so it goes on\nto the next line\n", Bytes(512)).beginsInMiddle);
}

}  // namespace salvor
