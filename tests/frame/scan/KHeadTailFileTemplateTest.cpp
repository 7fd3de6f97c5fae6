#include "frame/scan/KHeadTailFileTemplate.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/support/Scan.h"

namespace {

using namespace test;

constexpr auto Head = PatternOf("HEAD");

Finds ScanFixed(std::int32_t fixedSize, Medium& medium, std::int64_t maxSize = 0) {
    KHeadTailFileTemplate type("Fixed", "fix", Head.data(), Head.size(), nullptr, 0, fixedSize);
    const Finds finds = Scan(type, medium, 0, maxSize);
    for (std::int64_t blockSectors = 1; blockSectors < 4; ++blockSectors) {
        EXPECT_EQ(Scan(type, medium, blockSectors, maxSize), finds);
    }
    return finds;
}

TEST(KHeadTailFileTemplate, ReportsAFixedSizeAtOnceAndLooksForNoTail) {
    Medium medium;
    medium.Put(1, "HEAD").Put(2, "HEAD TAIL").Put(5, "head").Put(6, "TAIL").Put(9, " HEAD").Put(300, "HEAD");
    EXPECT_EQ(ScanFixed(512, medium), (Finds{{1, 512}, {2, 512}, {300, 512}}));
    EXPECT_EQ(ScanFixed(0x7FFFFFFF, medium), (Finds{{1, 0xA00000}, {2, 0xA00000}, {300, 0xA00000}}));
    EXPECT_EQ(ScanFixed(600, medium, 599), (Finds{{1, 599}, {2, 599}, {300, 599}}));
    for (const std::int32_t dropped : {511, 1, 0, -1, -512, -0x7FFFFFFF - 1}) {
        EXPECT_EQ(ScanFixed(dropped, medium), Finds{}) << dropped;
    }
    Medium tiny(3, BytesOf("HEADHEADHEAD"));
    EXPECT_EQ(ScanFixed(512, tiny), Finds{});
}

TEST(KHeadTailFileTemplate, LeavesTheBufferAloneWithoutAName) {
    KHeadTailFileTemplate type(nullptr, nullptr, Head.data(), Head.size(), nullptr, 0, 0);
    std::string buffer(16, '#');
    type.GetTypeName(buffer.data(), 16);
    type.GetExtension(buffer.data(), 16);
    EXPECT_EQ(buffer, std::string(16, '#'));
}

}  // namespace
