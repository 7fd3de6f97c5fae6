#include <gtest/gtest.h>

#include <algorithm>
#include <map>

#include "host/platform/sandbox.h"
#include "host/validators/validator.h"
#include "tests/host/Program.h"

namespace salvor {

namespace {

using namespace test;

// The program's outcomes for the sample card, by sector.
class ValidateWorkers : public testing::Test {
protected:
    ValidateWorkers() {
        EXPECT_EQ(RunProgram("scan " + Card + " --quiet --report " + Quoted(folder_ / "finds")).status, 0);
    }
    // Runs the program and keeps status and outcomes.
    ProgramRun Validate(const std::string& options, const std::string& environment = "") {
        std::filesystem::remove(folder_ / "outcomes");
        const ProgramRun run = RunProgram(
            "validate " + Quoted(folder_ / "finds") + " --quiet " + options + " --out " + Quoted(folder_ / "outcomes"),
            environment);
        outcomes.clear();
        const std::filesystem::path path = folder_ / "outcomes";
        for (const nlohmann::json& line :
             std::filesystem::exists(path) ? ReadLines(path) : std::vector<nlohmann::json>()) {
            if (line["record"] == "outcome") {
                outcomes[line["start_sector"]] = line;
            }
        }
        return run;
    }
    // Makes the validator of PNGs fail at a sector.
    static std::string Fault(const std::string& kind, std::int64_t sector) {
        const auto validators = Validators();
        const auto index = std::ranges::find(validators, "png", &Validator::name) - validators.begin();
        return "SALVOR_TEST_PATIENCE=3000 SALVOR_TEST_FAULT=" + kind + ":" + std::to_string(index) + ":" +
               std::to_string(sector);
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
    const std::int64_t png = SectorOf("png");
    EXPECT_GT(alone.size(), 50U);
    for (const char* const jobs : {"2", "3", "5"}) {
        EXPECT_EQ(Validate(std::string("--jobs ") + jobs).status, 0);
        EXPECT_EQ(outcomes, alone) << jobs;
    }
    // In shares, one of them twice. The last run validates nothing again, so its fault does no harm.
    for (const char* const share : {"2/2", "1/2", "2/2"}) {
        EXPECT_EQ(Validate(std::string("--jobs 2 --segment ") + share).status, 0) << share;
    }
    EXPECT_EQ(Validate("--jobs 1", Fault("crash", png)).status, 0);
    EXPECT_EQ(outcomes, alone);
    for (const char* const wrong : {"0/2", "3/2", "1", "1/", "1/2x", "-1/2"}) {
        EXPECT_EQ(Validate(std::string("--segment=") + wrong).status, 2) << wrong;
    }
}

TEST_F(ValidateWorkers, LoseOneAnswerWhereOneFalls) {
    EXPECT_EQ(Validate("").status, 0);
    auto good = outcomes;
    const std::int64_t sector = SectorOf("png");
    ASSERT_GE(sector, 0);
    for (const std::string fault : {"crash", "hang", "memory"}) {
        if (fault == "memory" && IsSanitized) {
            continue;
        }
        const ProgramRun run = Validate("--jobs 2", Fault(fault, sector));
        EXPECT_EQ(run.status, 1) << fault << ": " << run.errors;
        EXPECT_NE(run.errors.find("sector " + std::to_string(sector) + ": png"), std::string::npos) << run.errors;
        EXPECT_EQ(outcomes[sector]["verdict"], "open") << fault;
        outcomes[sector] = good[sector];
        EXPECT_EQ(outcomes, good) << fault;
    }
}

}  // namespace

}  // namespace salvor
