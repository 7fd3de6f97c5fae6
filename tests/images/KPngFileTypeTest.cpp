#include "images/KPngFileType.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/support/Scan.h"

namespace {

using Finds = std::vector<test::Found>;

TEST(KPngFileType, EndsOnlyWithTheChunkTypeAndItsCrcInOneSector) {
    const std::string signature = "\x89PNG\r\n\x1A\n";
    const std::string end = "IEND\xAE\x42\x60\x82";
    test::Medium medium;
    // The chunk's name inside picture data, with a wrong CRC, and across a sector boundary.
    medium.Put(2, signature + "IEND" + std::string(300, 'x') + "IEND\xAE\x42\x60\x83");
    medium.Put(3, std::string(508, 'x') + end);
    medium.Put(5, std::string(392, 'x') + end + end);
    // A new signature closes a file; one directly followed by its end mark is too short.
    medium.Put(6, signature).Put(7, signature + end).Put(8, end);
    EXPECT_EQ(test::ScanAtEverySplit(FileTypeIndex::Png, medium), (Finds{{2, 3 * 512 + 400}, {6, 512}}));
}

}  // namespace
