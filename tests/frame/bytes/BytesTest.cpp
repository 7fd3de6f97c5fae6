#include "frame/bytes/Bytes.h"

#include <gtest/gtest.h>

#include <string>

#include "frame/bytes/BoundedText.h"
#include "frame/bytes/BytePattern.h"
#include "frame/bytes/ByteProcessing.h"
#include "frame/bytes/CompareBytesNoCase.h"
#include "media/TagLists.h"
#include "tests/support/Medium.h"

namespace {

TEST(CompareBytesNoCase, FoldsAsciiLettersOnlyAndComparesSignedBytes) {
    EXPECT_EQ(CompareBytesNoCase("A", "a", 1), 0);
    EXPECT_EQ(CompareBytesNoCase("x", "y", 0), 0);
    EXPECT_EQ(CompareBytesNoCase("ab\0cd", "AB\0CE", 5), 'D' - 'E');
    EXPECT_EQ(CompareBytesNoCase("\xE9", "\x41", 1), -23 - 0x41);
    // The neighbours of the letters, and the accented pairs of Latin-1, are not folded.
    EXPECT_NE(CompareBytesNoCase("`", "@", 1), 0);
    EXPECT_NE(CompareBytesNoCase("{", "[", 1), 0);
    EXPECT_NE(CompareBytesNoCase("\xE4", "\xC4", 1), 0);
}

TEST(ByteProcessing, ReadsUpToEightBytesInEitherOrder) {
    const std::uint8_t bytes[] = {0x12, 0x34, 0x56, 0x78, 0x9A, 0xBC, 0xDE, 0xF0, 0xFF};
    EXPECT_EQ(ByteProcessing::ReadOrdered(bytes, 2, 1), 0x1234U);
    EXPECT_EQ(ByteProcessing::ReadOrdered(bytes, 2, 0), 0x3412U);
    EXPECT_EQ(ByteProcessing::ReadOrdered(bytes, 2, 2), 0x3412U);
    EXPECT_EQ(ByteProcessing::ReadOrdered(bytes, 3, 1), 0x123456U);
    EXPECT_EQ(ByteProcessing::ReadOrdered(bytes, 8, 1), 0x123456789ABCDEF0U);
    EXPECT_EQ(ByteProcessing::ReadOrdered(bytes, 1, 1), 0x12U);
    EXPECT_EQ(ByteProcessing::ReadOrdered(bytes, 0, 1), 0U);
    EXPECT_EQ(ByteProcessing::ReadOrdered(bytes, 9, 0), 0U);
    EXPECT_EQ(ByteProcessing::ReadOrdered(nullptr, 4, 0), 0U);

    std::uint8_t odd[] = {1, 2, 3};
    ByteProcessing::ReverseBytes(odd, 3);
    EXPECT_EQ(std::to_array(odd), (std::array<std::uint8_t, 3>{3, 2, 1}));
    ByteProcessing::ReverseBytes(odd, 1);
    EXPECT_EQ(odd[0], 3);
}

TEST(BoundedText, WritesOneByteLessThanTheCapacity) {
    const auto copy = [](std::uint32_t capacity) {
        std::string buffer(40, '#');
        CopyBoundedText(buffer.data(), capacity, "JPEG Graphics file 2");  // 20 characters
        return buffer;
    };
    EXPECT_EQ(copy(8), "JPEG Gr" + std::string(33, '#'));
    EXPECT_EQ(copy(32), "JPEG Graphics file 2" + std::string(11, '\0') + std::string(9, '#'));
    EXPECT_EQ(copy(21), "JPEG Graphics file 2" + std::string(20, '#'));
    EXPECT_EQ(copy(1), std::string(40, '#'));
    // A count that is not positive as a signed number would reach past every buffer.
    EXPECT_EQ(copy(0), std::string(40, '#'));
    EXPECT_EQ(copy(0x80000001U), std::string(40, '#'));
    CopyBoundedText(nullptr, 8, "text");
}

TEST(BytePattern, FindsWhatAPlainSearchFinds) {
    test::Noise noise(7);
    for (int round = 0; round < 20000; ++round) {
        // Two byte values make partial and overlapping matches frequent; where one of them is rare, the search gets
        // far.
        const auto coarse = [&](std::size_t count, std::uint8_t border) {
            test::Bytes bytes = noise.Random(count);
            for (std::uint8_t& byte : bytes) {
                byte = byte < border ? 0x00 : 0xE1;
            }
            return bytes;
        };
        const bool isLong = noise.Below(2) == 0;
        const test::Bytes haystack = coarse(noise.Below(isLong ? 300 : 40), isLong ? 240 : 128);
        const test::Bytes needle = coarse(noise.Below(6), 128);
        const std::size_t from = noise.Below(8);

        const std::string text(haystack.begin(), haystack.end());
        const std::size_t expected = text.find(std::string(needle.begin(), needle.end()), from);
        const auto actual = BytePattern(needle).FindIn(haystack, from);
        ASSERT_EQ(actual.value_or(std::string::npos), expected) << "round " << round;
    }
}

TEST(TagLists, BrandsMatchInAnyLetterCaseAndBoxTypesExactly) {
    const auto isIn = [](const QStringList& brands, const char* brand) {
        return ContainsBrand(brands, test::BytesOf(brand).data());
    };
    EXPECT_EQ(ThreeGpBrands.size(), 22);
    EXPECT_TRUE(isIn(ThreeGpBrands, "3GP4"));
    EXPECT_TRUE(isIn(ThreeGpBrands, "kddi"));
    EXPECT_FALSE(isIn(ThreeGpBrands, "3gp "));
    EXPECT_TRUE(isIn(M4aBrands, "M4A "));
    EXPECT_TRUE(isIn(M4vBrands, "M4V "));
    EXPECT_TRUE(isIn(QuickTimeBrands, "mqt "));
    EXPECT_FALSE(isIn(QuickTimeBrands, "qt\t "));
    const std::uint8_t nulBrand[] = {'q', 't', 0, 0};
    EXPECT_FALSE(ContainsBrand(QuickTimeBrands, nulBrand));

    std::uint32_t moov = 0;
    std::memcpy(&moov, "moov", 4);
    EXPECT_TRUE(TopLevelBoxTypes.contains(moov));
    std::memcpy(&moov, "MOOV", 4);
    EXPECT_FALSE(TopLevelBoxTypes.contains(moov));
}

}  // namespace
