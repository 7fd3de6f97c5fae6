#include "host/scan/block_slices.h"

#include <gtest/gtest.h>

#include <vector>

namespace salvor {

namespace {

struct Part {
    std::int64_t first;
    std::int64_t offset;
    std::int32_t count;
    bool operator==(const Part&) const = default;
};

TEST(ScanInSlices, CutsBlocksButForTypesThatDependOnThem) {
    constexpr std::int32_t plain = FileTypeIndex::Png;
    constexpr std::int32_t dependent = FileTypeIndex::Msg;
    const std::vector<std::uint8_t> bytes(200 * 512);
    const auto partsOf = [&](std::int32_t type, std::int32_t count, std::int32_t sectorSize) {
        std::vector<Part> parts;
        const std::vector scanners{plain, dependent, plain};
        ScanInSlices(
            SectorBlock{7, bytes.data(), count, sectorSize, nullptr}, scanners,
            [](std::int32_t index) { return index; },
            [&](const SectorBlock&) -> const std::vector<std::int32_t>& { return scanners; },
            [&](std::int32_t index, const SectorBlock& part) {
                EXPECT_EQ(part.sectorSize, sectorSize);
                if (index == type) {
                    parts.push_back({part.firstSector, part.data - bytes.data(), part.sectorCount});
                }
            });
        return parts;
    };
    EXPECT_EQ(partsOf(plain, 114, 512),
              (std::vector<Part>{
                  {7, 0, 56}, {7, 0, 56}, {63, 28672, 56}, {63, 28672, 56}, {119, 57344, 2}, {119, 57344, 2}}));
    EXPECT_EQ(partsOf(dependent, 130, 512), (std::vector<Part>{{7, 0, 130}}));
    EXPECT_EQ(partsOf(plain, 2, 40000), (std::vector<Part>{{7, 0, 1}, {7, 0, 1}, {8, 40000, 1}, {8, 40000, 1}}));
    EXPECT_TRUE(partsOf(plain, 0, 512).empty());
}

}  // namespace

}  // namespace salvor
