#include <gtest/gtest.h>

#include "tests/support/HelpBuilder.h"
#include "tests/support/Numbers.h"
#include "tests/support/Scan.h"

namespace {

using namespace test;

constexpr std::uint64_t Most = ~std::uint64_t{0};

// Values of a field that the file's size must survive, and others that must not be found.
struct Field {
    std::size_t offset;
    std::size_t width;
    std::vector<std::uint64_t> sound;
    std::vector<std::uint64_t> damaged;
};

bool IsFoundWith(std::int32_t index, Bytes file, const Field& field, std::uint64_t value) {
    PutNumber(file, field.offset, value, field.width);
    Medium medium;
    medium.Put(1, file).Grow(12);
    return Scan(index, medium) == Finds{{1, static_cast<std::int64_t>(file.size())}};
}

void CheckFields(std::int32_t index, const Bytes& file, const std::vector<Field>& fields) {
    for (const Field& field : fields) {
        for (const std::uint64_t value : field.sound) {
            EXPECT_TRUE(IsFoundWith(index, file, field, value)) << index << ": " << value << " at " << field.offset;
        }
        for (const std::uint64_t value : field.damaged) {
            EXPECT_FALSE(IsFoundWith(index, file, field, value)) << index << ": " << value << " at " << field.offset;
        }
    }
}

TEST(Help, TheDirectoryProvesTheSize) {
    const Bytes file = HelpFile();
    const std::size_t tree = HelpDirectory + 9;
    const std::size_t size = file.size();
    const std::size_t room = size - HelpDirectory;
    CheckFields(29, file,
                {{4, 4, {}, {15, size - 47, 0xFFFFFFF0}},
                 {8, 4, {16, size - 1}, {15, size}},
                 {HelpDirectory, 4, {room}, {room + 1, 1070}},
                 {HelpDirectory + 4, 4, {}, {1061}},
                 {tree + 1, 1, {}, {0x2A}},
                 {tree + 2, 2, {2}, {0xFFFD}},
                 {tree + 4, 2, {1024}, {1025}},
                 {tree + 22, 2, {}, {1}},
                 {tree + 28, 2, {}, {0}},
                 {tree + 30, 2, {}, {0xFFFF}},
                 {tree + 32, 2, {8}, {0, 9}}});
}

TEST(Help, CompiledHelpHasItsSectionsInOrder) {
    const Bytes file = CompiledHelpFile();
    const std::size_t room = file.size() - 0x78;
    CheckFields(30, file,
                {{4, 4, {}, {4}},
                 {8, 4, {}, {0x58}},
                 {0x18, 1, {}, {0x11}},
                 {0x28, 1, {0x10}, {0x12}},
                 {0x38, 8, {}, {0x5F, 0x10000}},
                 {0x40, 8, {}, {0x17, 0x19, Most}},
                 {0x48, 8, {}, {0x79}},
                 {0x50, 8, {room}, {room + 1, Most}},
                 {0x58, 8, {file.size()}, {file.size() + 1}},
                 {0x60, 4, {}, {0xFE}},
                 {0x68, 8, {}, {0, 0x78 + 0x1053, std::uint64_t{1} << 32U}}});
}

}  // namespace
