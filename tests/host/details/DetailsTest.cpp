#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "host/details/details_worker.h"
#include "host/platform/sandbox.h"
#include "tests/host/TestFiles.h"

namespace salvor {

namespace {

using namespace test;
using nlohmann::json;

// Fixtures one after another, each at a cluster's start.
Bytes MediumOf(const std::vector<std::string>& names) {
    Bytes medium;
    for (const std::string& name : names) {
        const Bytes file = Fixture(name);
        medium.insert(medium.end(), file.begin(), file.end());
        medium.resize((medium.size() / 4096 + 1) * 4096);
    }
    return medium;
}

TEST(Details, ArePutIntoTheReportAndAWorkerThatFallsCostsOneFile) {
    const TempFolder folder;
    WriteFile(folder / "image", MediumOf({"exif.jpg", "jfif-grey.jpg", "exif-thumbnail.jpg", "maker.nef"}));
    const json camera{
        {"taken", "2011-06-18T14:05:27"}, {"camera", "Example Camera 100"}, {"width", 480}, {"height", 360}};
    const auto out = [&folder](const std::string& name) {
        return "'" + (folder / name).string() + "'";
    };
    ASSERT_EQ(RunProgram("recover " + out("image") + " --quiet --out " + out("none")).status, 0);
    for (const std::string fault : {"none", "crash", "open", "memory"}) {
        if (fault == "memory" && IsSanitized) {
            continue;
        }
        // The second file.
        const std::string prefix = "SALVOR_TEST_FAULT=" + fault + ":1";
        const std::string extract = "extract " + out("none/finds.jsonl") + " --quiet --out " + out(fault);
        ASSERT_EQ(RunProgram(extract, prefix).status, 0);
        const std::vector<json> report = ReadLines(folder / fault / "report.jsonl");
        ASSERT_EQ(report.size(), 5U) << fault;
        EXPECT_EQ(report[0]["details"], camera) << fault;
        EXPECT_EQ(report[1].contains("details"), fault == "none") << fault;
        EXPECT_EQ(report[2]["details"]["taken"], camera["taken"]) << fault;
        EXPECT_EQ(report[3]["details"]["camera"], "NIKON D1") << fault;
    }
}

TEST(Details, OfAWorkerThatLiesAreLeftOut) {
    const auto known = [](const std::string& line) {
        const auto answer = AnswerIn(line);
        return answer ? answer->details.known : FileDetails();
    };
    for (const char* line : {"", "[]", "{}", R"({"file":"1"})", R"({"file":1,"taken":5})", R"({"file":1,"preview":[]})",
                             R"({"file":1,"height":9e99})"}) {
        EXPECT_FALSE(AnswerIn(line)) << line;
    }
    EXPECT_TRUE(AnswerIn(R"({"file":1})"));
    EXPECT_EQ(known(R"({"file":1,"taken":"2011-06-18","width":-5,"height":4294967296})"), FileDetails());
    EXPECT_EQ(known(R"({"file":1,"title":"a\u001b[2Jb\n"})").title, "a[2Jb");
    EXPECT_EQ(known(R"({"file":1,"title":")" + std::string(399, 'x') + R"(\u00e9\u00e9"})").title,
              std::string(399, 'x'));
    EXPECT_TRUE(AnswerIn(R"({"file":1,"preview":"PHN2Zz48L3N2Zz4="})")->details.preview.empty());
    EXPECT_EQ(AnswerIn(R"({"file":1,"preview":"/9j/4A=="})")->details.preview, Bytes({0xFF, 0xD8, 0xFF, 0xE0}));
}

}  // namespace

}  // namespace salvor
