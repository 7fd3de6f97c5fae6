#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <set>
#include <vector>

#include "host/platform/folder.h"
#include "tests/host/Program.h"

// Scans in worker processes: however many there are and whatever happens to them, the finds are those of one scan.

namespace salvor {

namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using namespace test;

// So that the small card has many segments.
const std::string Cut = " --quiet --block-size 64K --segment-size 192K ";
// Its scanner sees every sector.
constexpr std::int64_t Mail = 34;

struct Seen {
    std::vector<json> finds;
    std::vector<std::int64_t> starts;
    std::set<std::int64_t> textStarts;
    std::vector<json> setAside;
    bool operator==(const Seen&) const = default;
};

Seen SeenIn(const fs::path& finds) {
    Seen seen;
    for (const json& record : ReadLines(finds)) {
        if (record["record"] == "find") {
            seen.finds.push_back(record);
        } else if (record["record"] == "set_aside") {
            seen.setAside.push_back(record);
        } else if (record["record"] == "starts") {
            std::ranges::copy(record["sectors"], std::back_inserter(seen.starts));
        } else if (record["record"] == "text_starts") {
            for (const json& range : record["sectors"]) {
                for (std::int64_t i = 0; i < range["count"]; ++i) {
                    seen.textStarts.insert(range["first"].get<std::int64_t>() + i);
                }
            }
        }
    }
    return seen;
}

// The result of one scan in one process.
Seen SeenByOne(const TempFolder& folder) {
    const ProgramRun run = RunProgram("scan " + Card + " --quiet --block-size 64K --report -");
    EXPECT_EQ(run.status, 0) << run.errors;
    WriteFile(folder / "one", run.output);
    return SeenIn(folder / "one");
}

TEST(Job, GivesTheSameFindsHoweverItIsCut) {
    const TempFolder folder;
    const Seen one = SeenByOne(folder);
    ASSERT_GT(one.finds.size(), 40U);
    ASSERT_GT(one.starts.size(), 10U);
    for (const int jobs : {1, 2, 3, 7}) {
        for (const char* size : {"64K", "448K", "4M"}) {
            const std::string cut = fmt::format(" --jobs {} --segment-size {} ", jobs, size);
            const fs::path finds = folder / fmt::format("finds-{}-{}", jobs, size);
            const ProgramRun run =
                RunProgram("scan " + Card + " --quiet --block-size 64K --report " + Quoted(finds) + cut);
            ASSERT_EQ(run.status, 0) << run.errors;
            EXPECT_EQ(SeenIn(finds), one) << cut;
            EXPECT_FALSE(fs::exists(finds.string() + ".job"));
        }
    }
}

TEST(Job, GoesOnWhereItWasKilled) {
    const TempFolder folder;
    const std::string to = " --exclude txt --jobs 2 --out ";
    ASSERT_EQ(RunProgram("recover " + Card + Cut + to + Quoted(folder / "whole")).status, 0);
    const std::string out = to + Quoted(folder / "out");
    ProgramRun run;
    for (int tenths = 1; tenths < 60 && run.status != 0; tenths += 1 + tenths / 4) {
        run = RunProgram("recover " + Card + Cut + out, fmt::format("timeout -s KILL {}", tenths / 10.0));
    }
    run = RunProgram("recover " + Card + " --quiet" + out);
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_EQ(SeenIn(folder / "out/finds.jsonl"), SeenIn(folder / "whole/finds.jsonl"));
    const auto files = [](const fs::path& path) {
        std::vector<json> records = ReadLines(path / "report.jsonl");
        std::erase_if(records, [](const json& record) { return record["record"] != "file"; });
        return records;
    };
    EXPECT_EQ(files(folder / "out"), files(folder / "whole"));

    // As if killed before it had noted the options that it began with.
    const fs::path begun = folder / "begun";
    const std::string scan = "scan " + Card + " --quiet --job " + Quoted(begun);
    ASSERT_EQ(RunProgram(scan).status, 0);
    for (const char* const name : {"scan.json", "finds.jsonl", "segments"}) {
        fs::remove_all(begun / name);
    }
    fs::create_directory(begun / "segments");
    EXPECT_EQ(RunProgram(scan).status, 0);
}

TEST(Job, AFaultCostsABlockOfOneType) {
    const TempFolder folder;
    const Seen one = SeenByOne(folder);
    for (const char* fault : {"crash", "hang", "memory", "open"}) {
        const fs::path finds = folder / fault;
        const ProgramRun run =
            RunProgram("scan " + Card + Cut + "--report " + Quoted(finds),
                       fmt::format("env SALVOR_TEST_PATIENCE=400 SALVOR_TEST_FAULT={}:{}:1000", fault, Mail));
        EXPECT_EQ(run.status, 1) << run.errors;
        EXPECT_NE(run.errors.find("eml (type 34)"), std::string::npos) << run.errors;
        Seen seen = SeenIn(finds);
        ASSERT_EQ(seen.setAside.size(), 1U) << fault;
        EXPECT_EQ(seen.setAside[0]["sectors"], json::parse(R"([{"first":896,"count":128}])"));
        seen.setAside.clear();
        // No mail of the card lies there.
        EXPECT_EQ(seen, one) << fault;
    }
}

TEST(Job, JoinsSegmentsOfSeveralMachines) {
    const TempFolder folder;
    const std::string scan =
        "scan " + Card + " --quiet --block-size 64K --job " + Quoted(folder / "job") + " --segment ";
    const std::string merge = "merge --quiet " + Quoted(folder / "job");
    EXPECT_EQ(RunProgram(merge).status, 3);
    for (const char* piece : {"3/3", "1/3", "3/3"}) {
        EXPECT_EQ(RunProgram(scan + piece).status, 0);
    }
    const ProgramRun early = RunProgram(merge);
    EXPECT_EQ(early.status, 3);
    EXPECT_NE(early.errors.find("not scanned yet"), std::string::npos) << early.errors;
    EXPECT_EQ(RunProgram(scan + "2/3").status, 0);
    EXPECT_EQ(RunProgram(merge).status, 0);
    const Seen one = SeenByOne(folder);
    EXPECT_EQ(SeenIn(folder / "job/finds.jsonl"), one);

    for (const char* piece : {"17/16", "0/3", "3", "1/x"}) {
        EXPECT_EQ(RunProgram(scan + piece).status, 2) << piece;
    }
    // A damaged journal is scanned again, and only then is there a finds file once more.
    fs::remove(folder / "job/finds.jsonl");
    // The largest journal: its middle lies after its header.
    const fs::path journal =
        std::ranges::max(std::vector<fs::path>(fs::directory_iterator(folder / "job/segments"), {}), {},
                         [](const fs::path& path) { return fs::file_size(path); });
    Bytes bytes = ReadFile(journal);
    bytes[bytes.size() / 2] ^= 4U;
    WriteFile(journal, bytes);
    const ProgramRun again = RunProgram("scan " + Card + " --job " + Quoted(folder / "job"));
    EXPECT_EQ(again.status, 0);
    EXPECT_NE(again.errors.find("is not used: it is cut or damaged"), std::string::npos) << again.errors;
    EXPECT_EQ(SeenIn(folder / "job/finds.jsonl"), one);
}

TEST(Job, WritesFilesInPieces) {
    const TempFolder folder;
    const std::string job = Quoted(folder / "job");
    ASSERT_EQ(RunProgram("recover " + Card + " --quiet --out " + Quoted(folder / "one")).status, 0);
    ASSERT_EQ(RunProgram("scan " + Card + " --quiet --job " + job).status, 0);
    const std::string extract = "extract " + job + " --quiet --out " + job;
    const auto refused = [&](const std::string& piece, int status, const char* text) {
        const ProgramRun run = RunProgram(extract + " --segment " + piece);
        return run.status == status && run.errors.find(text) != std::string::npos;
    };
    EXPECT_TRUE(refused("17/16", 2, "17/16"));
    EXPECT_TRUE(refused("1/3 --overwrite", 2, "--overwrite"));
    EXPECT_TRUE(refused("1/3", 3, "have not been validated"));
    EXPECT_EQ(RunProgram("validate " + job + " --quiet --segment 2/2").status, 0);
    EXPECT_TRUE(refused("1/3", 3, "segments 1 of 2"));
    EXPECT_EQ(RunProgram("validate " + job + " --quiet --segment 1/2").status, 0);
    for (const char* piece : {"3/3", "1/3", "3/3"}) {
        EXPECT_EQ(RunProgram(extract + " --segment " + piece).status, 0) << piece;
    }
    const auto filesOf = [](const fs::path& report) {
        return std::ranges::count(ReadLines(report), json("file"), [](const json& line) { return line["record"]; });
    };
    EXPECT_GT(filesOf(folder / "job/report.jsonl.1-of-3"), 5);
    EXPECT_GT(filesOf(folder / "job/report.jsonl.3-of-3"), 5);

    const ProgramRun early = RunProgram("report " + job);
    EXPECT_EQ(early.status, 3);
    EXPECT_NE(early.errors.find("segments only"), std::string::npos) << early.errors;
    const ProgramRun last = RunProgram(extract);
    EXPECT_EQ(last.status, 0);
    EXPECT_NE(last.errors.find("segments 2 of 3"), std::string::npos) << last.errors;
    EXPECT_FALSE(fs::exists(folder / "job/report.jsonl.1-of-3"));
    for (const char* report : {"report.jsonl", "skipped.jsonl"}) {
        EXPECT_EQ(ReadLines(folder / "job" / report), ReadLines(folder / "one" / report));
    }
    for (const json& file : ReadLines(folder / "one/report.jsonl")) {
        if (const std::string path = file.value("path", ""); !path.empty()) {
            EXPECT_EQ(ReadFile(folder / "job" / path), ReadFile(folder / "one" / path)) << path;
        }
    }
}

TEST(Job, GoesOnWithWhatItWasBegunWithOnly) {
    const TempFolder folder;
    fs::copy_file(CardImage, folder / "image");
    const std::string scan = "scan " + Quoted(folder / "image") + " --quiet --job " + Quoted(folder / "job");
    ASSERT_EQ(RunProgram(scan + " --types png --segment 1/2").status, 0);
    const auto refused = [&](const std::string& arguments, const char* text) {
        const ProgramRun run = RunProgram(arguments);
        return (run.status == 2 || run.status == 3) && run.errors.find(text) != std::string::npos &&
               std::ranges::count(run.errors, '\n') == 1;
    };
    EXPECT_TRUE(refused(scan + " --types jpg", "begun with --types"));
    EXPECT_TRUE(refused(scan + " --cap 1M --types png", "begun with --cap"));
    fs::resize_file(folder / "image", 3 << 20);
    EXPECT_TRUE(refused(scan, "has changed"));
    const ProgramRun run = RunProgram(scan + " --changed-medium");
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_NE(run.errors.find("goes on with --types"), std::string::npos) << run.errors;
    const std::string recover = "recover " + Card + " --quiet --out " + Quoted(folder / "out");
    ASSERT_EQ(RunProgram(recover + " --types png,jpg --min-size 20K,png=4K --embedded").status, 0);
    const std::vector<json> report = ReadLines(folder / "out/report.jsonl");
    EXPECT_TRUE(refused(recover + " --min-size 10K", "begun with --min-size 20K,png=4K"));
    EXPECT_TRUE(refused(recover + " --no-text", "begun without --no-text"));
    EXPECT_TRUE(refused(recover + " --names original", "begun with --names start"));
    EXPECT_TRUE(refused(recover + " --types gif --min-size 20K,png=4K --embedded", "begun with --types"));
    const ProgramRun same = RunProgram(recover);
    EXPECT_EQ(same.status, 0);
    for (const char* option : {"--types png,jpg", "--min-size 20K,png=4K", "--embedded"}) {
        EXPECT_NE(same.errors.find(std::string("goes on with ") + option), std::string::npos) << same.errors;
    }
    EXPECT_EQ(ReadLines(folder / "out/report.jsonl").size(), report.size());
    WriteFile(folder / "job/scan.json", "{}");
    EXPECT_TRUE(refused(scan, "damaged"));
}

TEST(Job, IsOneRunsAloneButForItsPieces) {
    const TempFolder folder;
    const std::string scan = "scan " + Card + " --quiet --block-size 64K --job " + Quoted(folder / "job");
    ASSERT_EQ(RunProgram(scan + " --segment 1/2").status, 0);
    {
        File lock = Folder::Open(folder / "job").OpenLock("job.lock");
        ASSERT_TRUE(lock.Lock());
        for (const std::string& command : {scan, "merge " + Quoted(folder / "job")}) {
            const ProgramRun run = RunProgram(command);
            EXPECT_EQ(run.status, 3);
            EXPECT_NE(run.errors.find("another run is writing there"), std::string::npos) << run.errors;
        }
        EXPECT_EQ(RunProgram(scan + " --segment 2/2").status, 0);
    }
    EXPECT_EQ(RunProgram(scan).status, 0);
    EXPECT_EQ(SeenIn(folder / "job/finds.jsonl"), SeenByOne(folder));
}

TEST(Job, GoesOnWithoutAFilterOfSystemCalls) {
    const TempFolder folder;
    const ProgramRun run =
        RunProgram("scan " + Card + Cut + "--report " + Quoted(folder / "finds"), "env SALVOR_TEST_FAULT=unfiltered");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(std::ranges::count(run.errors, '\n'), 1) << run.errors;
    EXPECT_NE(run.errors.find("no filter of system calls"), std::string::npos) << run.errors;
    EXPECT_EQ(SeenIn(folder / "finds"), SeenByOne(folder));
}

TEST(Job, SaysWhenItCannotKeepWhatItScans) {
    const TempFolder folder;
    const std::string scan = "scan " + Card + Cut + "--jobs 1 --job " + Quoted(folder / "job");
    // `ulimit -f` counts 512 or 1024 bytes, depending on the shell: room for the small files, not for all journals.
    const ProgramRun full = RunProgram(scan, "ulimit -f 4;");
    EXPECT_EQ(full.status, 1);
    EXPECT_NE(full.errors.find("the same command goes on"), std::string::npos) << full.errors;
    EXPECT_EQ(RunProgram(scan).status, 0);
    EXPECT_EQ(SeenIn(folder / "job/finds.jsonl"), SeenByOne(folder));
}

}  // namespace

}  // namespace salvor
