#include "documents/CFireFoxBookmarkType.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/support/Scan.h"

namespace {

using namespace test;

constexpr std::int64_t TailStart = 20000;

// Bookmarks with the given bytes from `TailStart` on, then a last tail that ends the file for certain.
Finds ScanTail(const std::string& tail) {
    Bytes file = Join({BytesOf("<!doctype NETSCAPE-Bookmark-file-1>\n"), Bytes(TailStart - 36, ' ')});
    const Bytes end = Join({BytesOf(tail), Bytes(1000, ' '), BytesOf("</DL><p>")});
    file.insert(file.end(), end.begin(), end.end());
    Medium medium;
    medium.Put(1, file);
    return Scan(FileTypeIndex::Bookmarks, medium);
}

TEST(CFireFoxBookmarkType, EndsWhereAnyOfTheFourBytesBehindTheTailIsNotText) {
    const auto endOfLast = [](const std::string& tail) {
        return TailStart + static_cast<std::int64_t>(tail.size()) + 1000 + 8;
    };
    for (const int text : {0x09, 0x0A, 0x0D, 0x20, 0x41, 0x7F}) {
        const std::string tail = "</DL><p>" + std::string(4, static_cast<char>(text));
        EXPECT_EQ(ScanTail(tail), (Finds{{1, endOfLast(tail)}})) << text;
    }
    for (const int binary : {0x00, 0x08, 0x0B, 0x0C, 0x0E, 0x1F, 0x80, 0xFF}) {
        for (std::size_t place = 0; place < 4; ++place) {
            std::string tail = "</DL><p>\t\r\n ";
            tail[8 + place] = static_cast<char>(binary);
            EXPECT_EQ(ScanTail(tail), (Finds{{1, TailStart + 8}})) << binary << " at " << place;
        }
        const std::string fifth = "</DL><p>text" + std::string(1, static_cast<char>(binary));
        EXPECT_EQ(ScanTail(fifth), (Finds{{1, endOfLast(fifth)}})) << binary;
    }
}

TEST(CFireFoxBookmarkType, PassesOverTailsInsideTheText) {
    using namespace std::string_literals;
    EXPECT_EQ(ScanTail("</DL><p></DL><p>\0"s), (Finds{{1, TailStart + 16}}));
    EXPECT_EQ(ScanTail("</DL><p>\n</DL></DL><p>\r\n\0"s), (Finds{{1, TailStart + 22}}));
    const std::string lowerCase = "</dl><p>\0\0\0\0"s;
    EXPECT_EQ(ScanTail(lowerCase), (Finds{{1, TailStart + 12 + 1000 + 8}}));
}

}  // namespace
