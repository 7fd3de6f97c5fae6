#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <optional>
#include <string>

#include "frame/read/FileWindow.h"
#include "tests/support/MailBuilder.h"
#include "tests/support/Scan.h"

namespace {

using namespace test;

constexpr std::int32_t Pst = 32;
constexpr std::int32_t Dbx = 33;
constexpr std::int32_t Eml = FileTypeIndex::Eml;
constexpr std::int32_t Msg = 35;
constexpr std::int32_t Mht = 89;

TEST(MailFolders, HaveTheSizeOfTheirHeader) {
    const struct {
        std::int32_t type;
        Bytes header;
        std::optional<std::int64_t> size;
    } cases[] = {
        {Pst, PersonalFolders(255, 255), std::nullopt},
        {Pst, PersonalFolders(256, 0x80000000), 256},
        {Pst, PersonalFolders(0xFFFFFFFF, 300), 300},
        {Pst, PersonalFolders(0xFFFFFFFF, 0x80000000), std::nullopt},
        {Dbx, ExpressFolder(0), 4096},
        {Dbx, ExpressFolder(0x7FFFEFFF), 0x7FFFFFFF},
        {Dbx, ExpressFolder(0x7FFFF000), std::nullopt},
        {Dbx, ExpressFolder(0xFFFFF0FF), std::nullopt},
        {Dbx, ExpressFolder(0xFFFFF100), 256},
    };
    for (const auto& tested : cases) {
        Medium medium;
        medium.Put(2, tested.header).Put(4, tested.header).Grow(6);
        const Finds expected = tested.size ? Finds{{2, *tested.size}, {4, *tested.size}} : Finds{};
        EXPECT_EQ(ScanAtEverySplit(tested.type, medium), expected) << &tested - cases;
    }
    // The last field must fit the sector.
    for (const auto& [type, header] : {std::pair(Pst, PersonalFolders(600, 600)), {Dbx, ExpressFolder(0)}}) {
        const auto fits = static_cast<std::int32_t>(type == Pst ? 192 : 128);
        for (const std::int32_t sectorSize : {fits - 1, fits}) {
            Medium medium(sectorSize);
            medium.Put(0, header).Grow(3);
            EXPECT_EQ(Scan(type, medium).size(), sectorSize == fits ? 1U : 0U) << sectorSize;
        }
    }
}

// ---- Web archives --------------------------------------------------------

const std::string MhtHead = "MIME-Version: 1.0\r\nContent-Type: multipart/related;\r\n\tboundary=\"";

Finds ScanArchive(const std::string& head, const std::string& tail, std::int64_t tailSector = 2) {
    Medium medium;
    medium.Put(1, head).Put(tailSector, tail).Grow(8);
    return ScanAtEverySplit(Mht, medium);
}

TEST(WebArchive, NeedsItsThreeTextsInTheFirstBytes) {
    ASSERT_EQ(MhtHead.size(), 64U);
    const std::string end = "</xml>--";
    const struct {
        std::string head;
        bool isHeader;
    } cases[] = {
        {MhtHead + "b\"", true},
        {" " + MhtHead + "b\"", false},
        {"boundary=\"b\"Content-Type: multipart/related MIME-Version: 1.0", true},
        {"boundary=b\"Content-Type: multipart/related MIME-Version: 1.0", false},
        {"mIME-Version: 1.0\r\nContent-Type: multipart/related; boundary=\"b\"", false},
        {std::string(1, '\0') + MhtHead.substr(0, 51) + "boundary=\"b\"", false},
        {"MIMIC " + MhtHead.substr(0, 17) + MhtHead.substr(19, 31) + "boundary=\"b\"", true},
    };
    for (const auto& tested : cases) {
        const Finds expected = tested.isHeader ? Finds{{1, 512 + 6 + 3}} : Finds{};
        EXPECT_EQ(ScanArchive(tested.head, "</xml>b--"), expected) << tested.head;
    }
    Medium medium(64);
    medium.Put(0, MhtHead).Put(5, "</xml>").Grow(8);
    EXPECT_EQ(Scan(Mht, medium), Finds{}) << "a sector of 64 bytes is too small";
}

// In every order, with the six bytes to spare wherever they may be. Each header ends the archive before it.
TEST(WebArchive, BeginsWithAnyArrangementOfItsTexts) {
    std::array<std::string, 3> texts{"Content-Type: multipart/related", "MIME-Version: 1.0", "boundary=\""};
    ASSERT_TRUE(std::ranges::is_sorted(texts));
    Medium medium;
    std::int64_t headers = 0;
    do {
        for (std::size_t spaces = 0; spaces < 7 * 7 * 7; ++spaces) {
            const std::size_t first = spaces % 7;
            const std::size_t second = spaces / 7 % 7;
            if (first + second + spaces / 49 <= 6) {
                medium.Put(headers++, std::string(first, '\xA0') + texts[0] + std::string(second, 'C') + texts[1] +
                                          std::string(spaces / 49, 'd') + texts[2]);
            }
        }
    } while (std::ranges::next_permutation(texts).found);
    EXPECT_EQ(headers, 504);
    Finds expected;
    for (std::int64_t header = 0; header < headers - 1; ++header) {
        expected.push_back({header, 512});
    }
    EXPECT_EQ(Scan(Mht, medium), expected);
}

TEST(WebArchive, EndsAtItsClosingBoundaryCloseBehindTheList) {
    const auto gap = [](std::size_t count) {
        return "</xml>" + std::string(count - 6, ' ');
    };
    const struct {
        std::string boundary;
        std::string tail;
        std::int64_t end;  // in the tail's sector; 0 for none
    } cases[] = {
        {"abc\"", gap(41) + "abc--", 46},
        {"abc\"", gap(42) + "abc--", 0},
        {"abc\"", "</xml>" + gap(41) + "abc--", 0},
        {"\"", gap(10) + "--", 12},
        // No closing quote in reach, and a zero before it: no boundary.
        {std::string(64, 'b') + "\"", "12" + gap(9), 2},
        {std::string("ab\0\"", 4), "12" + gap(9), 2},
        {std::string(39, 'b') + "\"", gap(6) + std::string(39, 'b') + "--", 0},
        {std::string(38, 'b') + "\"", gap(6) + std::string(38, 'b') + "--", 46},
    };
    for (const auto& tested : cases) {
        const Finds expected = tested.end != 0 ? Finds{{1, 512 + tested.end}} : Finds{};
        EXPECT_EQ(ScanArchive(MhtHead + tested.boundary, tested.tail), expected) << &tested - cases;
    }
    // The next header closes an archive without an end. A closing boundary that reaches into the next sector ends none,
    // however the blocks are cut.
    Medium medium;
    medium.Put(0, MhtHead + "b\"").Put(3, MhtHead + "bc\"").Put(5, std::string(502, ' ') + "</xml>bc--");
    medium.Put(6, MhtHead + "b\"").Put(7, std::string(503, ' ') + "</xml>b--");
    EXPECT_EQ(ScanAtEverySplit(Mht, medium), (Finds{{0, 1536}, {3, 1024 + 512}, {6, 1024}}));
    medium.Put(5, std::string(503, ' ') + "</xml>bc--");
    medium.Put(6, std::string(1, '-') + std::string(511, ' ')).Grow(8);
    EXPECT_EQ(ScanAtEverySplit(Mht, medium), (Finds{{0, 1536}}));
}

// ---- Messages ------------------------------------------------------------

TEST(Message, EndsAtTheMarkerThatItsHeaderNames) {
    const std::string mail = "Received: x\r\n";
    const std::string multipart = mail + "\r\nContent-Type: multipart/mixed; ";
    const std::string html = mail + "\r\nContent-Type: text/html\r\n";
    const auto upTo = [](std::string text, std::size_t size) {
        return text + std::string(size - text.size(), '-');
    };
    std::vector<FileCase> cases;
    const auto expect = [&cases](const char* what, const std::string& file, std::int64_t size, std::int64_t cap = 0) {
        cases.push_back({what, BytesOf(file), size, cap});
    };
    // In the view of the header itself a message ends before the marker, in a later one after it.
    expect("text", upTo(html, 300) + "</html>", 300);
    expect("text in the next sector", upTo(html, 600) + "</html>", 607);
    expect("over two sectors", upTo(html, 509) + "</html>", 509);
    expect("text of another case", upTo(html, 300) + "</HTML>", 0);
    expect("parts", upTo(multipart + "boundary=b1\r\n", 300) + "--b1--", 300);
    expect("parts in quotes", upTo(multipart + "boundary=\"b 1\"\r\n", 700) + "--b 1--", 707);
    expect("a marker in front of the header", "Received: --b1--\r\nContent-Type: m; boundary=b1\r\n", 0);
    expect("an end in front of the header", "Received: </html>\r\nContent-Type: text/\r\n", 10);
    expect("a shorter marker", upTo(multipart + "boundary=b1\r\n", 700) + "--b--", 0);
    expect("an empty boundary in the third sector", upTo(mail, 1024 + 100) + "\r\nContent-Type: x; boundary=\"\"\r\n",
           1024);
    expect("an open quote", upTo(mail, 1024) + "\r\nContent-Type: x; boundary=\"b\r\n", 1024);
    expect("no boundary", mail + "\r\nContent-Type: x\r\n" + upTo("", 600) + "----", 0);
    expect("the boundary's name in reach", mail + "\r\nContent-Type:" + std::string(255, 'x') + "boundary=b\r\n--b--",
           295);
    expect("and behind it", mail + "\r\nContent-Type:" + std::string(256, 'x') + "boundary=b\r\n--b--", 0);
    expect("an end that begins the file", "</html>\r\n" + html, 0);
    expect("the second header counts for nothing", html + upTo("\r\nContent-Type: x; boundary=b\r\n", 600) + "--b--",
           0);
    expect("header at the last place of a line",
           std::string(255, 'x') + "\r\nReceived: x" + upTo(html, 600) + "</html>", 875);
    expect("header behind it", std::string(256, 'x') + "\r\nReceived: x" + upTo(html, 600) + "</html>", 0);
    expect("no header", "X-" + upTo(html.substr(9), 600) + "</html>", 0);
    expect("a cap", upTo(html, 1500) + "</html>", 1024, 1024);
    expect("a marker behind the last view of the cap", upTo(html, 1536) + "</html>", 0, 1535);
    expect("the last view of the cap", upTo(html, 1535) + "</html>", 1535, 1535);
    ExpectFiles(Eml, cases);
}

// The marker is farther ahead than what is remembered, or never comes.
TEST(Message, IsFoundAloneAndAmongOthersWhereItsMarkerIsFarAhead) {
    Noise noise(35);
    constexpr std::int64_t sectors = 24 * 2048;
    Medium medium;
    medium.Grow(sectors);
    for (int message = 0; message < 100; ++message) {
        const auto start = static_cast<std::int64_t>(noise.Below(sectors - 1));
        // Shorter and longer than what is remembered of a boundary.
        const std::string boundary = std::string(noise.Below(24), 'p') + std::to_string(noise.Below(40));
        medium.Put(start, "Received: x\r\nContent-Type: multipart/mixed; boundary=" + boundary + "\r\n");
        const std::int64_t end = start + 1 + static_cast<std::int64_t>(noise.Below(12000));
        if (end < sectors) {
            medium.Put(end, std::string(noise.Below(500), '-') + "--" + boundary + "--");
        }
    }
    const TypePtr type = CreateType(Eml);
    const Finds alone = ScanAlone(*type, medium);
    EXPECT_EQ(Scan(*type, medium, 2048), alone);
    EXPECT_GT(alone.size(), 20U);
}

// How far a message is read depends on its start.
TEST(Message, IsFoundWhereAnEarlierOneCouldNotBeRead) {
    struct HalfOfAMedium : Medium {
        std::int32_t GetGeometry(SectorGeometry* geometry) override {
            *geometry = {512, SectorCount() / 2};
            return 1;
        }
    } medium;
    const auto put = [&](std::int64_t sector, const std::string& boundary) {
        medium.Put(sector, "Received: x\r\nContent-Type: multipart/mixed; boundary=" + boundary + "\r\n");
    };
    put(0, "never");
    put(150, "b");
    medium.Put(160, "--b--").Grow(200);
    EXPECT_EQ(Scan(Eml, medium), (Finds{{150, 10 * 512 + 5}}));
}

TEST(Message, MarkersMayLieAcrossReads) {
    const std::string header = "Received: x\r\nContent-Type: multipart/mixed; boundary=b1\r\n";
    for (std::size_t size = FileWindow::PieceBytes - 600; size < FileWindow::PieceBytes + 600; ++size) {
        Medium medium;
        medium.Put(0, header + std::string(size - header.size() - 6, ' ') + "--b1--");
        ASSERT_EQ(Scan(Eml, medium), (Finds{{0, static_cast<std::int64_t>(size)}}));
    }
}

TEST(Message, RemembersTheLastOneOverScansAndTakesItsBytesForSectors) {
    const std::string mail = "Received: x\r\nContent-Type: multipart/mixed; boundary=b\r\n";
    Medium medium;
    medium.Put(0, mail).Put(4, mail + std::string(600, ' ') + "--b--").Grow(8);
    const TypePtr type = CreateType(Eml);
    const auto scan = [&] {
        RecordingSink sink;
        const SectorBlock block = BlockOf(medium);
        type->BeginScan();
        type->ScanBlock(&block, &sink);
        type->EndScan();
        return sink.finds.size();
    };
    EXPECT_EQ(scan(), 1U) << "the second one lies in the first";
    EXPECT_EQ(scan(), 0U) << "both lie in the last one reported";
    Medium large(4096);
    large.Put(0, mail + std::string(600, ' ') + "--b--").Grow(2);
    EXPECT_EQ(Scan(Eml, large), Finds{});
}

// ---- Stored messages -----------------------------------------------------

TEST(StoredMessage, EndsWithTheEntriesOfItsTable) {
    const auto without = [](Bytes bytes, std::size_t at) {
        bytes[at] ^= 0xFF;
        return bytes;
    };
    const std::size_t table = 5 * 512;
    const struct {
        Bytes file;
        std::int64_t size;  // 0: not reported
        std::int64_t cap = 0x500000;
    } cases[] = {
        {StoredMessage(), 6 * 512},
        {without(StoredMessage(), 512), 0},            // no directory
        {without(StoredMessage(), table + 4), 0},      // another table
        {without(StoredMessage(), table + 5 * 4), 0},  // no end of a chain
        // 125 entries and two more fill the sector; one more begins the next.
        {StoredMessage(125, 1), 6 * 512},
        {StoredMessage(125, 2), 7 * 512},
        {StoredMessage(5, 300), 8 * 512},
        // The end of the chain and the entry after it lie in the first ten sectors of the table.
        {StoredMessage(1278, 1), 16 * 512},
        {StoredMessage(1279, 1), 0},
        {StoredMessage(), 6 * 512, 6 * 512},
        {StoredMessage(), 0, 6 * 512 - 1},
        // No free entry where it is looked for.
        {StoredMessage(5, 900), 0, 3600},
    };
    for (const auto& tested : cases) {
        Medium medium;
        medium.Put(1, tested.file).Put(20, tested.file).Grow(60);
        const Finds expected = tested.size != 0 ? Finds{{1, tested.size}, {20, tested.size}} : Finds{};
        EXPECT_EQ(Scan(Msg, medium, 0, tested.cap), expected) << &tested - cases;
    }
}

// Many messages before one free entry: what the first has read of the entries holds for the others.
TEST(StoredMessage, CountsEntriesAheadAsIfItWereAlone) {
    constexpr std::int64_t messages = 12;
    constexpr std::size_t firstEntry = 5 * 512 + 28;
    Noise noise(36);
    Medium medium;
    for (std::int64_t i = 0; i < messages; ++i) {
        Bytes file = StoredMessage();
        for (std::size_t at = firstEntry; at < file.size(); at += 4) {
            file[at] = noise.Below(2) == 0 ? 0xFD : 0xFC;
        }
        medium.Put(i * 6, file);
    }
    medium.Put(messages * 6, Bytes(512, 0xFF));
    Finds expected;
    for (std::int64_t i = 0; i < messages; ++i) {
        const auto start = static_cast<std::size_t>(i * 6 * 512);
        std::int64_t length = firstEntry + 4;
        for (std::size_t at = start + firstEntry; at < medium.Data().size() - 512; at += 4) {
            length += std::memcmp(&medium.Data()[at], "\xFD\xFF\xFF\xFF", 4) == 0 ? 4 : 0;
        }
        expected.push_back({i * 6, (length + 511) / 512 * 512});
    }
    EXPECT_EQ(ScanAtEverySplit(Msg, medium), expected);
}

}  // namespace
