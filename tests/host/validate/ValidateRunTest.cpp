#include "host/validate/validate_run.h"

#include <gtest/gtest.h>

#include "host/scan/scanners.h"
#include "tests/host/TestFiles.h"

namespace salvor {

namespace {

using namespace test;

TEST(ValidateRun, LeavesAloneWhatAnEarlierRunCouldNotRead) {
    const TempFolder folder;
    const std::filesystem::path fixture = std::filesystem::path(SALVOR_SAMPLES_DIR) / "fixtures/rgb8.png";
    const Bytes image = ReadFile(fixture);
    ASSERT_GT(image.size(), 4U * 512);
    Sightings seen;
    seen.finds = {{FileTypeIndex::Png, 0, std::ssize(image)}};
    std::vector<std::int64_t> failures;
    for (int run = 0; run < 2; ++run) {
        auto device = std::make_unique<FakeDevice>(image);
        device->Break(2 * 512, 3 * 512);
        const FakeDevice& fake = *device;
        Medium medium(std::move(device), 512);
        const Validation validation =
            ValidateWithFile(medium, seen, {folder / "outcomes"}, {.image = {}, .workers = 1, .quiet = true});
        ASSERT_EQ(validation.outcomes.size(), 1U);
        EXPECT_EQ(validation.outcomes.front().finding.verdict, Verdict::Damaged);
        EXPECT_EQ(medium.Unreadable().Ranges(), (std::vector<SectorRange>{{2, 1}}));
        Bytes all(image.size() / 512 * 512);
        medium.Read(0, all.data(), std::ssize(all) / 512);
        failures.push_back(fake.failures);
    }
    EXPECT_GT(failures[0], 0);
    EXPECT_EQ(failures[1], 0);
}

}  // namespace

}  // namespace salvor
