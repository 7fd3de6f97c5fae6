#include <gtest/gtest.h>

#include "tests/support/HelpBuilder.h"
#include "tests/support/Scan.h"

namespace {

using test::Bytes;
using test::Found;
using test::HelpDirectory;
using test::Medium;
using Finds = std::vector<Found>;

struct Change {
    std::size_t offset;
    std::uint64_t value;
    std::size_t width;
    bool isFound;
};

// The file with one field changed, which does not change its size.
void ExpectAfterChange(std::int32_t index, Bytes file, const Change& change) {
    test::SetLittle(file, change.offset, change.value, change.width);
    Medium medium;
    medium.Put(1, file).Grow(12);
    const Finds expected{{1, static_cast<std::int64_t>(file.size())}};
    EXPECT_EQ(Scan(index, medium), change.isFound ? expected : Finds{})
        << index << ": " << change.value << " at " << change.offset;
}

TEST(Help, TheDirectoryProvesTheSize) {
    const Bytes file = test::HelpFile();
    const std::size_t tree = HelpDirectory + 9;
    const std::size_t size = file.size();
    for (const Change& change : std::initializer_list<Change>{{4, 15, 4, false},
                                                              {4, size - 47, 4, false},
                                                              {4, 0xFFFFFFF0, 4, false},
                                                              {8, 16, 4, true},
                                                              {8, 15, 4, false},
                                                              {8, size - 1, 4, true},
                                                              {8, size, 4, false},
                                                              {HelpDirectory, size - HelpDirectory, 4, true},
                                                              {HelpDirectory, size - HelpDirectory + 1, 4, false},
                                                              {HelpDirectory, 1070, 4, false},
                                                              {HelpDirectory + 4, 1061, 4, false},
                                                              {tree + 1, 0x2A, 1, false},
                                                              {tree + 2, 0xFFFD, 2, false},
                                                              {tree + 4, 1025, 2, false},
                                                              {tree + 22, 1, 2, false},
                                                              {tree + 28, 0, 2, false},
                                                              {tree + 30, 0xFFFF, 2, false},
                                                              {tree + 32, 0, 2, false},
                                                              {tree + 32, 8, 2, true},
                                                              {tree + 32, 9, 2, false}}) {
        ExpectAfterChange(29, file, change);
    }
}

TEST(Help, CompiledHelpHasItsSectionsInOrder) {
    const Bytes file = test::CompiledHelpFile();
    const std::size_t directory = 0x78;
    const std::size_t end = directory + 0x1054;
    for (const Change& change : std::initializer_list<Change>{{4, 4, 4, false},
                                                              {8, 0x58, 4, false},
                                                              {0x18, 0x11, 1, false},
                                                              {0x38, 0x5F, 8, false},
                                                              {0x38, 0x10000, 8, false},
                                                              {0x40, 0x17, 8, false},
                                                              {0x40, 0x19, 8, false},
                                                              {0x40, ~std::uint64_t{0}, 8, false},
                                                              {0x48, directory + 1, 8, false},
                                                              {0x50, file.size() - directory, 8, true},
                                                              {0x50, file.size() - directory + 1, 8, false},
                                                              {0x50, ~std::uint64_t{0}, 8, false},
                                                              {0x58, file.size(), 8, true},
                                                              {0x58, file.size() + 1, 8, false},
                                                              {0x60, 0xFE, 4, false},
                                                              {0x68, 0, 8, false},
                                                              {0x68, end - 1, 8, false},
                                                              {0x68, std::uint64_t{1} << 32U, 8, false}}) {
        ExpectAfterChange(30, file, change);
    }
}

}  // namespace
