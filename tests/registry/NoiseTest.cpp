#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <string>

#include "frame/contract/FileTypeCatalog.h"
#include "tests/support/NoiseMedia.h"
#include "tests/support/Registry.h"
#include "tests/support/ReportRules.h"

namespace {

using namespace test;

constexpr std::size_t MediumBytes = std::size_t{64} << 20U;
constexpr std::int64_t MediaPerGiB = 16;

class NoiseTest : public testing::TestWithParam<NoiseKind> {};

TEST_P(NoiseTest, NoTypeFindsFilesInIt) {
    std::vector<Bytes> files;
    std::ranges::transform(Fixtures(), std::back_inserter(files), &Fixture::bytes);
    Medium medium(512, MakeNoise(GetParam(), MediumBytes, files));
    std::map<std::int32_t, std::int64_t> bogus;
    for (const Claim& claim : ScanWithAllTypes(medium, EvenBlocks(medium, 2048))) {
        ++bogus[claim.index];
    }
    for (std::int32_t index = 0; index < FileTypeCount; ++index) {
        if (index == PlainText && GetParam().isText) {
            continue;
        }
        const std::int64_t perGiB = bogus[index] * MediaPerGiB;
        EXPECT_EQ(perGiB, 0) << FileTypeCatalog[index].name;
        RecordProperty(FileTypeCatalog[index].extension + std::to_string(index), std::to_string(perGiB));
    }
}

INSTANTIATE_TEST_SUITE_P(Kinds, NoiseTest, testing::ValuesIn(NoiseKinds),
                         [](const auto& tested) { return tested.param.name; });

}  // namespace
