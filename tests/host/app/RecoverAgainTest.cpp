#include <fmt/format.h>
#include <gtest/gtest.h>

#include <map>

#include "tests/host/Program.h"

// Runs that stop early, and the runs after them.

namespace salvor {

namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using namespace test;

TEST(RecoverAgain, ASecondExtractCompletesWhatIsMissingAndRewritesNothingElse) {
    const TempFolder folder;
    const std::string out = Quoted(folder / "out");
    ASSERT_EQ(RunProgram("scan " + Card + " --quiet --report " + Quoted(folder / "finds")).status, 0);
    const std::string extract = "extract " + Quoted(folder / "finds") + " --out " + out;
    ASSERT_EQ(RunProgram(extract).status, 0);
    const auto first = RecoveredFiles(folder / "out");
    std::map<std::string, fs::file_time_type> times;
    for (const auto& [path, bytes] : first) {
        times[path] = fs::last_write_time(folder / "out" / path);
    }
    const std::string missing = first.begin()->first;
    const std::string damaged = first.rbegin()->first;
    fs::remove(folder / "out" / missing);
    WriteFile(folder / "out" / damaged, std::string("not what it was"));
    ASSERT_EQ(RunProgram(extract).status, 0);
    EXPECT_EQ(RecoveredFiles(folder / "out"), first);
    for (const auto& [path, time] : times) {
        if (path != missing && path != damaged) {
            EXPECT_EQ(fs::last_write_time(folder / "out" / path), time) << path;
        }
    }
    EXPECT_EQ(Summary(folder / "out")["already_there"], first.size() - 2);
    // A scan into a folder with files of an earlier run is not taken for the same thing.
    EXPECT_EQ(RunProgram("recover " + Card + " --out " + out).status, 2);
    EXPECT_EQ(RunProgram("recover " + Card + " --overwrite --out " + out).status, 0);
}

TEST(RecoverAgain, UsesAJournalThatWasCutAndSaysSo) {
    const TempFolder folder;
    ASSERT_EQ(RunProgram("scan " + Card + " --quiet --report " + Quoted(folder / "finds")).status, 0);
    Bytes journal = ReadFile(folder / "finds");
    journal.resize(journal.size() * 2 / 3);
    WriteFile(folder / "finds", journal);
    const ProgramRun run =
        RunProgram("extract " + Quoted(folder / "finds") + FilesOnly + "--quiet --out " + Quoted(folder / "out"));
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.errors.find("did not end"), std::string::npos) << run.errors;
    EXPECT_EQ(RunProgram("validate --quiet " + Quoted(folder / "finds")).status, 1);
    EXPECT_EQ(RunProgram("list " + Quoted(folder / "finds")).status, 1);
    EXPECT_EQ(RunProgram("export-map " + Quoted(folder / "finds") + " --quiet --out " + Quoted(folder / "map")).status,
              1);
    const auto files = RecoveredFiles(folder / "out");
    EXPECT_GT(files.size(), 3U);
    EXPECT_LT(files.size(), FilesOnTheCard());
    EXPECT_EQ(Summary(folder / "out")["scan_complete"], false);
}

TEST(RecoverAgain, UsesAnImageThatHasGrownOrShrunk) {
    const TempFolder folder;
    const fs::path image = folder / "image";
    fs::copy_file(CardImage, image);
    ASSERT_EQ(RunProgram("scan " + Quoted(image) + " --report " + Quoted(folder / "finds")).status, 0);
    const auto extract = [&](const char* out) {
        return RunProgram("extract " + Quoted(folder / "finds") + " --out " + Quoted(folder / out));
    };
    ASSERT_EQ(extract("same").status, 0);
    const auto same = RecoveredFiles(folder / "same");

    fs::resize_file(image, 3 << 20U);
    const ProgramRun grown = extract("grown");
    EXPECT_EQ(grown.status, 0) << grown.errors;
    EXPECT_NE(grown.errors.find("has grown from 2097152 to 3145728 bytes"), std::string::npos) << grown.errors;
    EXPECT_EQ(RecoveredFiles(folder / "grown"), same);

    constexpr std::int64_t left = 1000000;
    fs::resize_file(image, left);
    const ProgramRun shorter = extract("shorter");
    EXPECT_EQ(shorter.status, 1) << shorter.errors;
    EXPECT_NE(shorter.errors.find("has 1000000 bytes, but had 2097152"), std::string::npos) << shorter.errors;
    auto files = RecoveredFiles(folder / "shorter");
    std::size_t unharmed = 0;
    for (const json& record : ReadLines(folder / "same/report.jsonl")) {
        if (record["record"] == "file" && record["extension"] != "txt" &&
            record["start_byte"].get<std::int64_t>() + record["size"].get<std::int64_t>() <= left) {
            const std::string path = record["path"];
            EXPECT_EQ(files[path], same.at(path)) << path;
            ++unharmed;
        }
    }
    EXPECT_GT(unharmed, 5U);
}

TEST(RecoverAgain, ReportsEveryFileInTheFolderWhicheverRunWroteIt) {
    const TempFolder folder;
    const fs::path out = folder / "out";
    const std::string finds = Quoted(folder / "finds");
    ASSERT_EQ(RunProgram("scan " + Card + " --quiet --report " + finds).status, 0);
    const std::string extract = "extract " + finds + " --quiet --out " + Quoted(out);
    const auto expectInStep = [&out](std::int64_t earlier) {
        std::map<std::string, std::size_t> reported;
        for (const json& record : ReadLines(out / "report.jsonl")) {
            if (record["record"] == "file") {
                EXPECT_TRUE(reported.emplace(record["path"], record["size"]).second) << record["path"];
            }
        }
        std::map<std::string, std::size_t> there;
        for (const auto& [path, bytes] : RecoveredFiles(out)) {
            there[path] = bytes.size();
        }
        EXPECT_EQ(reported, there);
        EXPECT_EQ(Summary(out)["files"], there.size());
        EXPECT_EQ(Summary(out)["of_earlier_runs"], earlier);
    };
    ASSERT_EQ(RunProgram(extract + " --types jpg,png").status, 0);
    const std::size_t pictures = RecoveredFiles(out).size();
    ASSERT_EQ(RunProgram(extract + " --exclude jpg,png").status, 0);
    expectInStep(static_cast<std::int64_t>(pictures));
    const auto report = ReadFile(out / "report.jsonl");
    const auto files = RecoveredFiles(out);
    fs::remove(out / files.begin()->first);
    // What a killed run leaves behind: no summary, and a truncated line.
    WriteFile(out / "report.jsonl", Bytes(report.begin(), report.end() - 2000));
    EXPECT_EQ(RunProgram("report --format html " + Quoted(out)).status, 1);
    EXPECT_EQ(RunProgram("report --format csv " + Quoted(out)).status, 1);
    ASSERT_EQ(RunProgram(extract + " --types gif").status, 0);
    EXPECT_EQ(Summary(out)["ended"], "complete");
    ASSERT_EQ(RunProgram(extract).status, 0);
    expectInStep(0);
    EXPECT_EQ(RecoveredFiles(out), files);
}

TEST(RecoverAgain, EndsCleanlyWhenItIsStopped) {
    const TempFolder folder;
    // In blocks of one sector, the scan takes much longer than the signal needs to arrive.
    WriteFile(folder / "image", Bytes(std::size_t{256} << 20U, 1));
    const std::string image = Quoted(folder / "image") + " --block-size 512";
    const auto signalled = [&](const char* signal, const fs::path& finds) {
        return fmt::format(
            "signalled() {{ \"$@\" & p=$!; until [ -s {} ]; do sleep 0.05; done; kill -s {} $p; wait $p; }}; signalled",
            Quoted(finds), signal);
    };
    for (const char* signal : {"INT", "TERM", "HUP"}) {
        fs::remove(folder / "finds");
        fs::remove_all(folder / "finds.job");
        const ProgramRun run = RunProgram("scan " + image + " --quiet --report " + Quoted(folder / "finds"),
                                          signalled(signal, folder / "finds"));
        EXPECT_EQ(run.status, 130) << run.errors;
        const auto lines = ReadLines(folder / "finds");
        EXPECT_EQ(lines.back()["record"], "summary");
        EXPECT_EQ(lines.back()["ended"], "stopped");
    }
    const ProgramRun recover = RunProgram("recover " + image + " --quiet --out " + Quoted(folder / "out"),
                                          signalled("INT", folder / "out/scan.json"));
    EXPECT_EQ(recover.status, 130);
    EXPECT_FALSE(fs::exists(folder / "out/finds.jsonl"));
}

TEST(RecoverAgain, EndsAtOnceWhenItIsStoppedTwice) {
    const TempFolder folder;
    // The worker ignores the first signal.
    const ProgramRun run = RunProgram(
        "scan " + Card + " --jobs 1 --quiet --report " + Quoted(folder / "finds"),
        "twice() { SALVOR_TEST_FAULT=hang \"$@\" & p=$!; until [ -e " + (folder / "finds.job/segments").string() +
            "/*.part ]; do sleep 0.05; done; kill -s INT $p; sleep 0.05; kill -s TERM $p; wait $p; }; twice");
    EXPECT_EQ(run.status, 130);
    EXPECT_NE(run.errors.find("ended at once"), std::string::npos) << run.errors;
    EXPECT_NE(ReadLines(folder / "finds").back()["record"], "summary");
}

}  // namespace

}  // namespace salvor
