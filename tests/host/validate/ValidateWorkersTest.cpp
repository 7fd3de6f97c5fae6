#include <gtest/gtest.h>

#include <algorithm>
#include <map>

#include "host/platform/sandbox.h"
#include "host/validators/validator.h"
#include "tests/host/TestFiles.h"

namespace salvor {

namespace {

using namespace test;

// What the program says of the sample card in its outcomes file, by sector.
class ValidateWorkers : public testing::Test {
protected:
    ValidateWorkers() {
        const std::string card = "'" SALVOR_SAMPLES_DIR "/card.img'";
        EXPECT_EQ(RunProgram("scan " + card + " --quiet --report '" + (folder_ / "finds").string() + "'").status, 0);
    }
    // Status and outcomes.
    ProgramRun Validate(const std::string& options, const std::string& environment = "") {
        std::filesystem::remove(folder_ / "outcomes");
        const ProgramRun run = RunProgram("validate '" + (folder_ / "finds").string() + "' --quiet " + options +
                                              " --out '" + (folder_ / "outcomes").string() + "'",
                                          environment);
        outcomes.clear();
        for (const nlohmann::json& line : ReadLines(folder_ / "outcomes")) {
            if (line["record"] == "outcome") {
                outcomes[line["start_sector"]] = line;
            }
        }
        return run;
    }
    std::int64_t SectorOf(const std::string& extension) const {
        const auto found =
            std::ranges::find_if(outcomes, [&](const auto& one) { return one.second["extension"] == extension; });
        return found == outcomes.end() ? -1 : found->first;
    }

    std::map<std::int64_t, nlohmann::json> outcomes;

private:
    TempFolder folder_;
};

TEST_F(ValidateWorkers, SayTheSameHoweverManyTheyAre) {
    EXPECT_EQ(Validate("--jobs 1").status, 0);
    const auto alone = outcomes;
    EXPECT_GT(alone.size(), 50U);
    EXPECT_EQ(Validate("--jobs 5").status, 0);
    EXPECT_EQ(outcomes, alone);
}

TEST_F(ValidateWorkers, LoseOneAnswerWhereOneFalls) {
    EXPECT_EQ(Validate("").status, 0);
    auto good = outcomes;
    const std::int64_t sector = SectorOf("png");
    ASSERT_GE(sector, 0);
    const auto validators = Validators();
    const auto index = std::ranges::find(validators, "png", &Validator::name) - validators.begin();
    for (const std::string fault : {"crash", "hang", "memory"}) {
        if (fault == "memory" && IsSanitized) {
            continue;
        }
        const ProgramRun run = Validate("--jobs 2", "SALVOR_TEST_PATIENCE=3000 SALVOR_TEST_FAULT=" + fault + ":" +
                                                        std::to_string(index) + ":" + std::to_string(sector));
        EXPECT_EQ(run.status, 1) << fault << ": " << run.errors;
        EXPECT_NE(run.errors.find("sector " + std::to_string(sector) + ": png"), std::string::npos) << run.errors;
        EXPECT_EQ(outcomes[sector]["verdict"], "open") << fault;
        outcomes[sector] = good[sector];
        EXPECT_EQ(outcomes, good) << fault;
    }
}

}  // namespace

}  // namespace salvor
