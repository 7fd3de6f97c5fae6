#include <gtest/gtest.h>

#include <algorithm>

#include "tests/host/volumes/FileSystemImage.h"

namespace salvor {

namespace {

using namespace test;

class AskFileSystems : public testing::TestWithParam<const char*> {};

// A photo in pieces that lives, and a picture that was deleted.
TEST_P(AskFileSystems, BringsBackFilesInPiecesAndTheirNames) {
    const TempFolder folder;
    const Bytes photo = Fixture("jfif-baseline.jpg");
    const Bytes picture = Fixture("rgb8.png");
    const std::string missing = MakeFileSystem(folder, GetParam(), {{"pieces", photo}, {"gone", picture}});
    if (!missing.empty()) {
        GTEST_SKIP() << "needs " << missing;
    }
    const auto recover = [&](const std::string& out, const std::string& options) {
        const ProgramRun run = RunProgram("recover '" + (folder / "image").string() + "' --out '" +
                                          (folder / out).string() + "' " + options);
        EXPECT_EQ(run.status, 0) << run.errors;
        EXPECT_EQ(run.errors, "");
    };
    recover("out", "--names original");
    EXPECT_EQ(ReadFile(folder / "out/original/dir/pieces"), photo);
    bool isGoneThere = false;
    for (const auto& record : ReadLines(folder / "out/report.jsonl")) {
        const auto path = record.value("path", "");
        if (path.ends_with("/pieces")) {
            EXPECT_GT(record["extents"].size(), 1U);
            EXPECT_EQ(record["verdict"], "whole");
            EXPECT_EQ(record["file_system"]["path"], "dir/pieces");
            EXPECT_EQ(record["file_system"]["deleted"], false);
        } else if (path.ends_with("one")) {
            isGoneThere = ReadFile(folder / ("out/" + path)) == picture && record["file_system"]["deleted"] == true;
        }
    }
    EXPECT_TRUE(isGoneThere);

    recover("alone", "--no-file-system");
    const auto records = ReadLines(folder / "alone/report.jsonl");
    EXPECT_TRUE(std::ranges::none_of(records, [](const auto& one) { return one.contains("file_system"); }));
}

INSTANTIATE_TEST_SUITE_P(All, AskFileSystems, testing::Values("FAT32", "ext4"),
                         [](const auto& kind) { return std::string(kind.param); });

}  // namespace

}  // namespace salvor
