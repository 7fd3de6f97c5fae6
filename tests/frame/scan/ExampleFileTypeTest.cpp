#include <gtest/gtest.h>

#include "tests/frame/scan/KExampleFileType.h"
#include "tests/support/Scan.h"

namespace {

using namespace test;

// The page on adding a type starts from this one.
TEST(ExampleFileType, IsAWholeType) {
    Medium medium;
    medium.Put(1, "EXAMPLE\x1A\x2C\1\1").Put(3, "EXAMPLE\x1A\xFF").Put(5, "EXAMPLE ").Grow(9);
    KExampleFileType type;
    for (std::int64_t blockSectors = 0; blockSectors < 9; ++blockSectors) {
        EXPECT_EQ(Scan(type, medium, blockSectors), (Finds{{1, 0x10000}})) << blockSectors;
    }
}

}  // namespace
