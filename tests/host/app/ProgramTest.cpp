#include <FileTypeCatalog.h>
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <fstream>
#include <map>
#include <set>
#include <sstream>

#include "host/platform/folder.h"
#include "host/say/say.h"
#include "host/validators/crc32.h"
#include "tests/host/TestFiles.h"
#include "tests/support/Numbers.h"

namespace salvor {

namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using namespace test;
using ::test::Big;
using ::test::BytesOf;
using ::test::Join;
using ::test::Little;

const fs::path Samples = SALVOR_SAMPLES_DIR;
const std::string Card = "'" + (Samples / "card.img").string() + "'";

std::string Quoted(const fs::path& path) { return "'" + path.string() + "'"; }

// All files below a folder with their bytes, by relative path.
std::map<std::string, Bytes> FilesBelow(const fs::path& folder) {
    std::map<std::string, Bytes> files;
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
        if (entry.is_regular_file()) {
            files[fs::relative(entry.path(), folder).string()] = ReadFile(entry.path());
        }
    }
    return files;
}

// The recovered files only.
std::map<std::string, Bytes> RecoveredFiles(const fs::path& folder) {
    std::map<std::string, Bytes> files = FilesBelow(folder);
    std::erase_if(files, [](const auto& file) { return file.first.find('/') == std::string::npos; });
    return files;
}

// The text between the card's files counts as text files.
const std::string FilesOnly = " --exclude txt ";

// The number of files other than plain text.
std::size_t FilesOnTheCard() {
    const Bytes list = ReadFile(Samples / "card.list.json");
    const json files = json::parse(list.begin(), list.end())["files"];
    return static_cast<std::size_t>(
        std::ranges::count_if(files, [](const json& file) { return file["extension"] != "txt"; }));
}

bool IsTextByte(std::uint8_t byte) { return std::isprint(byte) != 0 || std::isspace(byte) != 0; }

json Summary(const fs::path& folder) { return ReadLines(folder / "report.jsonl").back(); }

TEST(Program, RecoversEveryFileOfTheSampleCard) {
    const TempFolder folder;
    const test::ProgramRun run = RunProgram("recover " + Card + " --out " + Quoted(folder / "out"));
    ASSERT_EQ(run.status, 0) << run.errors;

    const Bytes listBytes = ReadFile(Samples / "card.list.json");
    const json list = json::parse(listBytes.begin(), listBytes.end());
    const Bytes image = ReadFile(Samples / "card.img");
    std::map<std::string, Bytes> recovered = RecoveredFiles(folder / "out");
    std::map<std::string, json> report;
    for (const json& record : ReadLines(folder / "out/report.jsonl")) {
        if (record["record"] == "file") {
            report[record["path"]] = record;
        }
    }
    EXPECT_EQ(report.size(), recovered.size());
    for (const json& file : list["files"]) {
        const std::string extension = file["extension"];
        const std::string path = fmt::format("{0}/f{1:010}.{0}", extension, file["start_sector"].get<std::int64_t>());
        const auto begin = image.begin() + file["start_sector"].get<std::int64_t>() * 512;
        ASSERT_TRUE(recovered.contains(path)) << path;
        Bytes& bytes = recovered[path];
        EXPECT_EQ(report[path]["size"], bytes.size()) << path;
        if (file["size_is_estimated"]) {
            // The file, and at most a few sectors that follow it.
            EXPECT_LE(bytes.size(), file["size"].get<std::size_t>() + std::size_t{8} * 512) << path;
            bytes.resize(file["size"].get<std::size_t>());
        } else {
            EXPECT_EQ(report[path]["sha256"], file["sha256"]) << path;
        }
        EXPECT_EQ(bytes, Bytes(begin, begin + file["size"].get<std::int64_t>())) << path;
        EXPECT_EQ(report[path]["start_byte"], file["start_sector"].get<std::int64_t>() * 512) << path;
        recovered.erase(path);
    }
    // The rest are pieces of the text between the files.
    for (const auto& [path, bytes] : recovered) {
        const std::int64_t start = report[path]["start_byte"];
        EXPECT_EQ(report[path]["extension"], "txt") << path << " was not on the card";
        EXPECT_EQ(bytes, Bytes(image.begin() + start, image.begin() + start + std::ssize(bytes))) << path;
        EXPECT_TRUE(std::ranges::all_of(bytes, IsTextByte)) << path;
    }
    EXPECT_EQ(Summary(folder / "out")["files"], report.size());
    EXPECT_EQ(Summary(folder / "out")["ended"], "complete");
}

TEST(Program, ScanAndExtractGiveWhatRecoverGives) {
    const TempFolder folder;
    const std::string filter = " --types jpg,png --exclude 41 --min-size 15K --max-size png=28500 ";
    ASSERT_EQ(RunProgram("recover " + Card + filter + "--out " + Quoted(folder / "recover")).status, 0);
    ASSERT_EQ(RunProgram("scan " + Card + " --report " + Quoted(folder / "finds")).status, 0);
    EXPECT_EQ(FilesBelow(folder.Path()).count("finds"), 1U);
    ASSERT_EQ(RunProgram("extract " + Quoted(folder / "finds") + filter + "--out " + Quoted(folder / "extract")).status,
              0);
    const auto recovered = RecoveredFiles(folder / "recover");
    EXPECT_EQ(RecoveredFiles(folder / "extract"), recovered);
    EXPECT_GT(recovered.size(), 3U);
    EXPECT_LT(recovered.size(), FilesOnTheCard());
    for (const auto& [path, bytes] : recovered) {
        EXPECT_GE(bytes.size(), 15U * 1024);
        EXPECT_LE(bytes.size(), path.ends_with("png") ? 28500U : 1U << 20U);
    }
    for (const json& record : ReadLines(folder / "extract/skipped.jsonl")) {
        EXPECT_FALSE(record["reason"].get<std::string>().empty());
    }
}

TEST(Program, ListsBeforeCopyingWhatExtractWrites) {
    const TempFolder folder;
    const std::string finds = Quoted(folder / "card.finds");
    ASSERT_EQ(RunProgram("scan " + Card + " --quiet --report " + finds).status, 0);
    EXPECT_EQ(RunProgram("list " + finds).status, 3);
    ASSERT_EQ(RunProgram("validate --quiet " + finds).status, 0);
    const std::string filter = " --min-size 4K --only whole --exclude jpg";
    ASSERT_EQ(RunProgram("extract " + finds + filter + " --quiet --out " + Quoted(folder / "out")).status, 0);

    const std::string planned = RunProgram("list " + finds + filter).output;
    EXPECT_EQ(planned, RunProgram("list " + Quoted(folder / "out")).output);
    const auto lines = static_cast<std::size_t>(std::ranges::count(planned, '\n'));
    EXPECT_EQ(lines, RecoveredFiles(folder / "out").size() + 1) << planned;
    EXPECT_GT(lines, 10U);
    const json first = json::parse(RunProgram("list --json " + finds + filter + " | head -1").output);
    EXPECT_EQ(first["verdict"], "whole");
}

TEST(Program, LeavesOutCopiesAndKnownFilesAndSaysSo) {
    const TempFolder folder;
    // The card twice, so that each file has a copy.
    Bytes twice = ReadFile(Samples / "card.img");
    const Bytes once = twice;
    twice.insert(twice.end(), once.begin(), once.end());
    test::WriteFile(folder / "image", twice);
    const std::string recover = "recover " + Quoted(folder / "image") + " --quiet --types png,jpg --out ";
    ASSERT_EQ(RunProgram(recover + Quoted(folder / "all")).status, 0);
    const std::vector<json> all = ReadLines(folder / "all/report.jsonl");
    test::WriteFile(folder / "list", all[0]["sha256"].get<std::string>() + "\n");
    const std::string choice = " --unique --known " + Quoted(folder / "list");
    ASSERT_EQ(RunProgram(recover + Quoted(folder / "some") + choice).status, 0);

    const auto kept = RecoveredFiles(folder / "some").size();
    EXPECT_EQ(2 * (kept + 1), RecoveredFiles(folder / "all").size());
    const json left = Summary(folder / "some")["not_written"];
    EXPECT_EQ(left["known by its hash"], 2);
    EXPECT_EQ(left["the same bytes as another file"], kept);
    for (const json& record : ReadLines(folder / "some/skipped.jsonl")) {
        if (record.contains("same_as")) {
            EXPECT_TRUE(fs::exists(folder / "some" / record["same_as"].get<std::string>())) << record;
        }
    }
    const std::string list = RunProgram("list " + Quoted(folder / "some")).output;
    for (const char* from : {"all", "all/finds.jsonl"}) {
        const std::string chosen = RunProgram("list " + Quoted(folder / from) + " --types png,jpg" + choice).output;
        EXPECT_EQ(chosen.substr(0, list.size()), list);
        EXPECT_NE(chosen.find("left out: 2 (known by its hash)"), std::string::npos) << chosen;
    }
}

TEST(Program, ASecondExtractCompletesWhatIsMissingAndRewritesNothingElse) {
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
    test::WriteFile(folder / "out" / damaged, std::string("not what it was"));
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

TEST(Program, TellsItsProgressToPrograms) {
    const TempFolder folder;
    const test::ProgramRun run =
        RunProgram("recover " + Card + " --quiet --progress json --out " + Quoted(folder / "out"));
    EXPECT_EQ(run.status, 0) << run.errors;
    test::WriteFile(folder / "progress", run.errors);
    std::map<std::string, json> last;
    for (const json& line : ReadLines(folder / "progress")) {
        last[line["progress"]] = line;
    }
    EXPECT_EQ(last.size(), 3U) << run.errors;
    for (const auto& [step, line] : last) {
        EXPECT_EQ(line["done"], line["total"]) << step;
        EXPECT_GT(line["files"], 0) << step;
    }
    EXPECT_EQ(RunProgram("recover " + Card + " --progress xml --out " + Quoted(folder / "other")).status, 2);
}

TEST(Program, UsesAJournalThatWasCutAndSaysSo) {
    const TempFolder folder;
    ASSERT_EQ(RunProgram("scan " + Card + " --quiet --report " + Quoted(folder / "finds")).status, 0);
    Bytes journal = ReadFile(folder / "finds");
    journal.resize(journal.size() * 2 / 3);
    test::WriteFile(folder / "finds", journal);
    const test::ProgramRun run =
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

TEST(Program, CutsAFileAtTheMediumsEndAndSaysSo) {
    const TempFolder folder;
    // The first PNG has no end and is closed by the second header; the find that passes the end is made by hand.
    Bytes image(20 * 512 + 100, 0);
    const std::string signature = "\x89PNG\r\n\x1A\n";
    std::copy(signature.begin(), signature.end(), image.begin());
    std::copy(signature.begin(), signature.end(), image.begin() + 20 * 512);
    test::WriteFile(folder / "image", image);
    ASSERT_EQ(RunProgram("scan " + Quoted(folder / "image") + " --report " + Quoted(folder / "finds")).status, 0);
    std::ofstream(folder / "finds", std::ios::app)
        << R"({"record":"find","type":46,"extension":"png","start_sector":18,"size":5000})" << '\n';
    ASSERT_EQ(
        RunProgram("extract --as-reported " + Quoted(folder / "finds") + " --out " + Quoted(folder / "out")).status, 0);
    const auto lines = ReadLines(folder / "out/report.jsonl");
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_EQ(lines[0]["size"], 20 * 512);
    EXPECT_EQ(lines[0]["flags"], json::array());
    EXPECT_EQ(lines[1]["size"], 2 * 512 + 100);
    EXPECT_EQ(lines[1]["flags"], json::array({"cut at end of medium"}));
}

// A file of zeros between a head and a tail.
struct LongFile {
    const char* extension;
    Bytes head;
    std::int64_t zeros;
    Bytes tail;
};

Bytes PngChunk(std::string_view name, const Bytes& data) {
    const Bytes named = Join({BytesOf(name), data});
    return Join({Big(data.size(), 4), named, Big(Crc32Of(named))});
}

// Whole files that are a little longer than the largest size that the library reports for their type.
std::vector<LongFile> LongFiles() {
    const Bytes gif = ReadFile(Samples / "fixtures/animated.gif");
    const std::size_t paletteEnd = 13 + (std::size_t{6} << (gif[10] & 7U));
    Bytes comment{0x21, 0xFE};
    comment.resize(2 + (std::size_t{16} << 20U));
    for (std::size_t at = 2; at < comment.size(); at += 256) {
        comment[at] = 0xFF;
    }
    comment.push_back(0);

    constexpr std::uint32_t pixels = (10U << 20U) + 999;
    const Bytes data = PngChunk("IDAT", Bytes(pixels));

    constexpr std::uint32_t packed = (32U << 20U) + 77;
    const Bytes header = Pattern(40);
    const Bytes start = Join({Little(packed, 8), Little(header.size(), 8), Little(Crc32Of(header))});
    return {
        {"gif", Join({Bytes(gif.begin(), gif.begin() + static_cast<std::ptrdiff_t>(paletteEnd)), comment}), 0,
         Bytes(gif.begin() + static_cast<std::ptrdiff_t>(paletteEnd), gif.end())},
        {"png",
         Join({BytesOf("\x89PNG\r\n\x1A\n"), PngChunk("IHDR", {0, 0, 0, 8, 0, 0, 0, 8, 8, 0, 0, 0, 0}),
               Bytes(data.begin(), data.begin() + 8)}),
         pixels, Join({Bytes(data.end() - 4, data.end()), PngChunk("IEND", {})})},
        {"7z", Join({BytesOf("7z\xBC\xAF\x27\x1C"), {0, 4}, Little(Crc32Of(start)), start}), packed, header},
        // Only its scanner knows where it ends.
        {"pdf", BytesOf("%PDF-1.4\nxref"), (std::int64_t{100} << 20U) + 55, BytesOf("\nstartxref\n9\n%%EOF\n")},
    };
}

TEST(Program, NoDefaultCapCutsAWholeFile) {
    const TempFolder folder;
    std::map<std::string, std::int64_t> sizes;
    std::ofstream image(folder / "image", std::ios::binary);
    const auto write = [&image](const Bytes& bytes) {
        std::ranges::copy(bytes, std::ostreambuf_iterator<char>(image));
    };
    for (const LongFile& file : LongFiles()) {
        const std::int64_t start = image.tellp();
        write(file.head);
        image.seekp(file.zeros, std::ios::cur);
        write(file.tail);
        const std::int64_t end = image.tellp();
        sizes[file.extension] = end - start;
        image.seekp((end / 512 + 1) * 512);
    }
    image.close();
    const auto outcomes = [&](const std::string& caps) {
        const std::string finds = Quoted(folder / "finds.jsonl");
        EXPECT_EQ(RunProgram("scan " + Quoted(folder / "image") + caps + " --report " + finds).status, 0);
        EXPECT_EQ(RunProgram("validate " + finds).status, 0);
        std::map<std::string, std::pair<std::string, std::int64_t>> found;
        for (const json& record : ReadLines(folder / "outcomes.jsonl")) {
            if (record["record"] == "outcome" && record["verdict"] != "no file") {
                found[record["extension"]] = {record["verdict"], record["size"]};
            }
        }
        return found;
    };
    const auto found = outcomes("");
    for (const auto& [name, size] : sizes) {
        ASSERT_TRUE(found.contains(name)) << name;
        EXPECT_EQ(found.at(name), std::pair(std::string("whole"), size)) << name;
    }
    const std::string cap = " --types gif,png,7z,pdf --cap 1M --out ";
    ASSERT_EQ(RunProgram("recover " + Quoted(folder / "image") + cap + Quoted(folder / "out")).status, 0);
    const auto files = RecoveredFiles(folder / "out");
    EXPECT_EQ(files.size(), sizes.size());
    for (const auto& [path, bytes] : files) {
        EXPECT_EQ(bytes.size(), 1U << 20U) << path;
    }
}

TEST(Program, WritesWhatTheDiskHasRoomFor) {
    const TempFolder folder;
    // A sparse image and a find in it, both larger than the free space of the disk that the test runs on.
    const std::uintmax_t huge = fs::space(folder.Path()).available + (std::uintmax_t{1} << 30U);
    test::WriteFile(folder / "image", std::string("x"));
    fs::resize_file(folder / "image", huge);
    ASSERT_EQ(
        RunProgram("scan " + Quoted(folder / "image") + " --length 8 --report " + Quoted(folder / "finds")).status, 0);
    std::ofstream(folder / "finds", std::ios::app)
        << R"({"record":"find","type":46,"extension":"png","start_sector":1,"size":600})" << '\n'
        << fmt::format(R"({{"record":"find","type":46,"extension":"png","start_sector":9,"size":{}}})", huge) << '\n';
    const std::string extract =
        "extract --as-reported " + Quoted(folder / "finds") + " --out " + Quoted(folder / "out");
    const test::ProgramRun run = RunProgram(extract);
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.errors.find("no room"), std::string::npos) << run.errors;
    EXPECT_EQ(RecoveredFiles(folder / "out").size(), 1U);
    const auto skipped = ReadLines(folder / "out/skipped.jsonl");
    ASSERT_EQ(skipped.size(), 1U);
    EXPECT_EQ(skipped[0]["reason"], "no room on the disk");
    EXPECT_EQ(skipped[0]["start_sector"], 9);
}

TEST(Program, WritesFilesToASmallDiskBeforeItListsTheRest) {
    const TempFolder folder;
    fs::create_directory(folder / "disk");
    test::WriteFile(folder / "onDisk", "cd " + Quoted(folder.Path()) +
                                           "; mount -t tmpfs -o size=4M,nr_inodes=900 none disk || exit 100\n"
                                           "\"$@\"; status=$?; cp -r disk/out copy; exit $status\n");
    Bytes picture = Fixture("lossy.webp");
    picture.resize(1024);
    Bytes image;
    constexpr std::size_t pictures = 4000;
    for (std::size_t i = 0; i < pictures; ++i) {
        image.insert(image.end(), picture.begin(), picture.end());
    }
    test::WriteFile(folder / "image", image);
    const test::ProgramRun run = RunProgram("recover " + Quoted(folder / "image") + " --out disk/out",
                                            "unshare -rm sh " + Quoted(folder / "onDisk"));
    if (!fs::exists(folder / "copy")) {
        GTEST_SKIP() << "needs user namespaces: " << run.errors;
    }
    EXPECT_EQ(run.status, 1);
    const std::size_t files = RecoveredFiles(folder / "copy").size();
    EXPECT_GT(files, 50U);
    const json summary = Summary(folder / "copy");
    EXPECT_EQ(summary["files"], files);
    EXPECT_EQ(summary["not_written"]["no room on the disk"], pictures - files) << summary;
    EXPECT_LT(ReadLines(folder / "copy/skipped.jsonl").size(), pictures - files);
    EXPECT_TRUE(fs::exists(folder / "copy/index.html"));
}

TEST(Program, BoundsClaimsUnlessAllAreWanted) {
    const TempFolder folder;
    const fs::path finds = folder / "finds";
    ASSERT_EQ(RunProgram("scan " + Card + " --length 8 --report " + Quoted(finds)).status, 0);
    for (int sector = 0; sector < 5; ++sector) {
        std::ofstream(finds, std::ios::app)
            << fmt::format(R"({{"record":"find","type":46,"extension":"png","start_sector":{},"size":2000000}})"
                           "\n",
                           sector);
    }
    const std::string extract = "extract --as-reported " + Quoted(finds) + " --out ";
    RunProgram(extract + Quoted(folder / "some"));
    RunProgram(extract + Quoted(folder / "all") + " --all");
    const auto imageSize = fs::file_size(Samples / "card.img");
    EXPECT_EQ(RecoveredFiles(folder / "some").size(), 2 * imageSize / 2000000);
    EXPECT_EQ(Summary(folder / "some")["not_written"].size(), 1U);
    EXPECT_EQ(RecoveredFiles(folder / "all").size(), 5U);
}

TEST(Program, GoesOnAfterAFileThatCannotBeWritten) {
    const TempFolder folder;
    ASSERT_EQ(RunProgram("scan " + Card + FilesOnly + "--quiet --report " + Quoted(folder / "finds")).status, 0);
    ASSERT_EQ(RunProgram("validate --quiet " + Quoted(folder / "finds")).status, 0);
    // 48 blocks of 1024 bytes: larger files cannot be written.
    const test::ProgramRun run =
        RunProgram("extract " + Quoted(folder / "finds") + " --quiet --out " + Quoted(folder / "out"), "ulimit -f 48;");
    EXPECT_EQ(run.status, 1);
    std::size_t failed = 0;
    for (const json& record : ReadLines(folder / "out/skipped.jsonl")) {
        failed += record["reason"].get<std::string>().starts_with("could not be written") ? 1U : 0U;
    }
    EXPECT_GT(failed, 0U);
    // The page is too large as well.
    EXPECT_EQ(static_cast<std::size_t>(std::count(run.errors.begin(), run.errors.end(), '\n')), failed + 1)
        << run.errors;
    EXPECT_FALSE(fs::exists(folder / "out/index.html.part"));
    const auto files = RecoveredFiles(folder / "out");
    EXPECT_EQ(files.size() + failed, FilesOnTheCard());
    for (const auto& [path, bytes] : files) {
        EXPECT_LE(bytes.size(), 49152U);
    }
    EXPECT_EQ(Summary(folder / "out")["failed"], failed);
    ASSERT_EQ(RunProgram("extract " + Quoted(folder / "finds") + " --out " + Quoted(folder / "out")).status, 0);
    EXPECT_EQ(RecoveredFiles(folder / "out").size(), FilesOnTheCard());
}

TEST(Program, EndsCleanlyWhenItIsStopped) {
    const TempFolder folder;
    // In blocks of one sector, the scan takes much longer than the signal needs to arrive.
    test::WriteFile(folder / "image", Bytes(std::size_t{256} << 20U, 1));
    const std::string image = Quoted(folder / "image") + " --block-size 512";
    const auto signalled = [&](const char* signal, const fs::path& finds) {
        return fmt::format(
            "signalled() {{ \"$@\" & p=$!; until [ -s {} ]; do sleep 0.05; done; kill -s {} $p; wait $p; }}; signalled",
            Quoted(finds), signal);
    };
    for (const char* signal : {"INT", "TERM", "HUP"}) {
        fs::remove(folder / "finds");
        fs::remove_all(folder / "finds.job");
        const test::ProgramRun run = RunProgram("scan " + image + " --quiet --report " + Quoted(folder / "finds"),
                                                signalled(signal, folder / "finds"));
        EXPECT_EQ(run.status, 130) << run.errors;
        const auto lines = ReadLines(folder / "finds");
        EXPECT_EQ(lines.back()["record"], "summary");
        EXPECT_EQ(lines.back()["ended"], "stopped");
    }
    const test::ProgramRun recover = RunProgram("recover " + image + " --quiet --out " + Quoted(folder / "out"),
                                                signalled("INT", folder / "out/scan.json"));
    EXPECT_EQ(recover.status, 130);
    EXPECT_FALSE(fs::exists(folder / "out/finds.jsonl"));
}

TEST(Program, EndsAtOnceWhenItIsStoppedTwice) {
    const TempFolder folder;
    // The worker ignores the first signal.
    const test::ProgramRun run = RunProgram(
        "scan " + Card + " --jobs 1 --quiet --report " + Quoted(folder / "finds"),
        "twice() { SALVOR_TEST_FAULT=hang \"$@\" & p=$!; until [ -e " + (folder / "finds.job/segments").string() +
            "/*.part ]; do sleep 0.05; done; kill -s INT $p; sleep 0.05; kill -s TERM $p; wait $p; }; twice");
    EXPECT_EQ(run.status, 130);
    EXPECT_NE(run.errors.find("ended at once"), std::string::npos) << run.errors;
    EXPECT_NE(ReadLines(folder / "finds").back()["record"], "summary");
}

TEST(Program, GivesUpTheRightsOfRootUnlessTheFolderNeedsThem) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "needs the rights of root";
    }
    const TempFolder folder;
    const fs::path image = folder / "image";
    fs::copy_file(Samples / "card.img", image);
    fs::permissions(image, fs::perms::owner_read);
    fs::create_directory(folder / "users");
    constexpr uid_t user = 12345;
    ASSERT_EQ(chown((folder / "users").c_str(), user, user), 0);
    struct Case {
        const char* out;
        const char* prefix;
        uid_t owner;
    };
    for (const Case& one :
         {Case{"users", "", user}, Case{"new", "SUDO_UID=12345 SUDO_GID=12345", user}, Case{"roots", "SUDO_UID=", 0}}) {
        const fs::path out = folder / one.out;
        ASSERT_EQ(RunProgram("recover --overwrite " + Quoted(image) + " --out " + Quoted(out), one.prefix).status, 0);
        EXPECT_GE(RecoveredFiles(out).size(), FilesOnTheCard());
        for (const auto& entry : fs::recursive_directory_iterator(out)) {
            struct stat info {};
            ASSERT_EQ(stat(entry.path().c_str(), &info), 0);
            EXPECT_EQ(info.st_uid, one.owner) << entry.path();
        }
    }
}

TEST(Program, GoesOnWhenNobodyReadsWhatItSays) {
    const TempFolder folder;
    const auto shell = [](const std::string& command) {
        return WEXITSTATUS(std::system(command.c_str()));
    };
    const std::string program = "'" SALVOR_PROGRAM "' ";
    const std::string closed = "bash -c 'set -o pipefail; " + program + "recover \"" + (Samples / "card.img").string() +
                               "\" --out \"" + (folder / "out").string() + "\" 2>&1 | true'";
    EXPECT_EQ(shell(closed), 1);
    EXPECT_GE(RecoveredFiles(folder / "out").size(), FilesOnTheCard());
    EXPECT_EQ(Summary(folder / "out")["ended"], "complete");
    EXPECT_EQ(shell(program + "types >/dev/full"), 1);
}

TEST(Program, RedrawsLinesOnTerminalsThatCanOnly) {
    const TempFolder folder;
    for (const std::string& kind : {std::string("xterm"), std::string("dumb")}) {
        const std::string run = "'" SALVOR_PROGRAM "' recover " + Card + " --out " + Quoted(folder / kind);
        test::WriteFile(folder / "run", run);
        const std::string onTerminal =
            "TERM=" + kind + " script -qec " + Quoted("bash " + (folder / "run").string()) + " /dev/null >";
        ASSERT_EQ(std::system((onTerminal + Quoted(folder / "shown")).c_str()), 0);
        const Bytes shown = ReadFile(folder / "shown");
        EXPECT_EQ(std::ranges::count(shown, '\x1B') > 0, kind == "xterm");
        constexpr std::string_view word = "whole";
        EXPECT_NE(std::search(shown.begin(), shown.end(), word.begin(), word.end()), shown.end());
    }
}

TEST(Program, ShowsControlCharactersToNoTerminal) {
    const TempFolder folder;
    const fs::path image = folder / "a\x1B]0;b\x07\xC2\x9Bm\xFF\xC3\xA4";
    fs::copy_file(Samples / "card.img", image);
    for (const std::string& arguments :
         {"scan " + Quoted(image) + " --report " + Quoted(image), Quoted(image), "scan x --bad=" + Quoted(image),
          "scan " + Quoted(image / "missing") + " --report -"}) {
        const test::ProgramRun run = RunProgram(arguments);
        EXPECT_NE(run.status, 0) << arguments;
        EXPECT_EQ(std::ranges::count_if(run.errors, [](unsigned char c) { return c < 0x20; }), 1) << run.errors;
    }
    const std::string shown = RunProgram("scan " + Quoted(image / "missing") + " --report -").errors;
    EXPECT_NE(shown.find("a\\x1b]0;b\\x07\\xc2\\x9bm\\xff\xC3\xA4/missing"), std::string::npos) << shown;
    // The text that the program suggests to type into a shell must lead to the same path.
    const std::string quoted = image.string() + "'\\";
    EXPECT_EQ(ShellWord(quoted).find('\x1B'), std::string::npos);
    test::WriteFile(folder / "script", "printf %s " + ShellWord(quoted));
    ASSERT_EQ(std::system(("bash " + Quoted(folder / "script") + " >" + Quoted(folder / "echo")).c_str()), 0);
    EXPECT_EQ(ReadFile(folder / "echo"), Bytes(quoted.begin(), quoted.end()));
}

TEST(Program, ReportsEveryFileInTheFolderWhicheverRunWroteIt) {
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
    test::WriteFile(out / "report.jsonl", Bytes(report.begin(), report.end() - 2000));
    EXPECT_EQ(RunProgram("report --format html " + Quoted(out)).status, 1);
    EXPECT_EQ(RunProgram("report --format csv " + Quoted(out)).status, 1);
    ASSERT_EQ(RunProgram(extract + " --types gif").status, 0);
    EXPECT_EQ(Summary(out)["ended"], "complete");
    ASSERT_EQ(RunProgram(extract).status, 0);
    expectInStep(0);
    EXPECT_EQ(RecoveredFiles(out), files);
}

TEST(Program, KeepsOtherRunsOutOfItsFolder) {
    const TempFolder folder;
    const std::string out = Quoted(folder / "out");
    ASSERT_EQ(RunProgram("recover " + Card + " --quiet --out " + out).status, 0);
    const auto before = FilesBelow(folder / "out");
    {
        File lock = Folder::Open(folder / "out").OpenLock("job.lock");
        ASSERT_TRUE(lock.Lock());
        const test::ProgramRun run = RunProgram("recover " + Card + " --overwrite --out " + out);
        EXPECT_EQ(run.status, 3);
        EXPECT_NE(run.errors.find("another run"), std::string::npos) << run.errors;
        EXPECT_EQ(FilesBelow(folder / "out"), before);
    }
    EXPECT_EQ(RunProgram("recover " + Card + " --overwrite --out " + out).status, 0);
}

TEST(Program, FollowsNothingThatWasPlantedInItsFolder) {
    const TempFolder folder;
    const fs::path out = folder / "out";
    const std::string mine = "mine";
    const auto plant = [&](const std::string& name) {
        test::WriteFile(folder / "victim", mine);
        fs::create_directories((out / name).parent_path());
        fs::remove(out / name);
    };
    Bytes image = Fixture("rgb8.png");
    image.resize(image.size() + 4096);
    test::WriteFile(folder / "image", image);
    const std::string recover =
        "recover " + Quoted(folder / "image") + " --quiet --overwrite --jobs 1 --out " + Quoted(out);
    ASSERT_EQ(RunProgram(recover).status, 0);
    const auto files = RecoveredFiles(out);
    ASSERT_FALSE(files.empty());
    for (const std::string& name :
         {std::string("job.json"), std::string("job.lock"), std::string("finds.jsonl"), std::string("outcomes.jsonl"),
          std::string("report.jsonl"), std::string("report.jsonl.part"), std::string("skipped.jsonl.part"),
          files.begin()->first, files.begin()->first + ".part"}) {
        plant(name);
        fs::create_hard_link(folder / "victim", out / name);
        EXPECT_EQ(RunProgram(recover).status, 0) << name;
        EXPECT_EQ(ReadFile(folder / "victim"), Bytes(mine.begin(), mine.end())) << name;
        for (const char* how : {"ln -s ../victim ", "mkfifo "}) {
            plant(name);
            ASSERT_EQ(std::system((how + Quoted(name)).insert(0, "cd " + Quoted(out) + " && ").c_str()), 0);
            const bool isLock = name == "job.lock";
            EXPECT_EQ(RunProgram(recover, "timeout 60").status, isLock ? 3 : 0) << how << name;
            EXPECT_EQ(ReadFile(folder / "victim"), Bytes(mine.begin(), mine.end())) << how << name;
            fs::remove(out / name);
        }
    }
    fs::remove_all(out / "png");
    fs::create_directory(folder / "elsewhere");
    fs::create_directory_symlink(folder / "elsewhere", out / "png");
    EXPECT_EQ(RunProgram(recover).status, 1);
    EXPECT_TRUE(fs::is_empty(folder / "elsewhere"));
}

TEST(Program, RefusesWrongUsageWithOneClearLine) {
    const TempFolder folder;
    const std::string out = " --out " + Quoted(folder / "out");
    test::WriteFile(folder / "empty", std::string());
    test::WriteFile(folder / "finds", std::string("{}\n"));
    fs::create_directory(folder / "used");
    test::WriteFile(folder / "used/letter", std::string("mine"));
    struct Case {
        std::string arguments;
        int status;
        std::string says;
    };
    const std::vector<Case> cases{
        {"frobnicate", 2, "'frobnicate' is not a command"},
        // Frequent mistakes, and what the program suggests instead.
        {"recovr " + Card, 2, "did you mean 'recover'?"},
        {Card, 2, "'salvor recover "},
        {"recover " + Card + " recovered", 2, "nothing takes the word 'recovered'"},
        {"recover " + Card + out + " --type jpg", 2, "did you mean '--types'?"},
        {"recover " + Card + out + " --min-sise=4K", 2, "did you mean '--min-size'?"},
        {"recover " + Card + " -out recovered", 2, "did you mean '--out'?"},
        {"--types jpg recover " + Card + out, 2, "belongs after the command"},
        {"recover " + Card + out + " --types photo", 2, "did you mean 'photos'?"},
        {"recover " + Card + out + " --types documents,jpgs", 2, "did you mean 'jpg'?"},
        {"recover " + Card + out + " --only hole", 2, "did you mean 'whole'?"},
        {"recover " + Card + out + " --min-size many", 2, "64K"},
        {"recover " + Card + out + " --min-pixels 640", 2, "640x480"},
        {"recover " + Card + out + " --min-pixels 0x480", 2, "640x480"},
        {"recover " + Card + out + " --taken yesterday", 2, "2018..2019-05"},
        {"recover " + Card + out + " --taken 2019-13", 2, "2018..2019-05"},
        {"recover " + Card + out + " --taken 2020..2019", 2, "ends before"},
        {"recover " + Card + out + " --known " + Quoted(folder / "missing"), 3, "No such file"},
        {"recover " + Card + out + " --known " + Quoted(folder / "used/letter"), 2, "not a list of hashes"},
        {"recover " + Card + " --out", 2, "--out"},
        {"scan " + Card, 2, "--report"},
        {"recover " + Card, 2, "--out"},
        {"recover" + out, 2, "IMAGE"},
        {"recover " + Card + out + " --types xyz", 2, "'xyz' names no type"},
        {"types jpg xyz", 2, "'xyz' names no type"},
        {"recover " + Card + out + " --types jpg --exclude jpg", 2, "leave no type"},
        {"recover " + Card + out + " --min-size 5Q", 2, "'5Q'"},
        {"recover " + Card + out + " --min-size 2M --max-size 1M", 2, "leave no size"},
        {"recover " + Card + out + " --max-size xyz=5", 2, "'xyz' names no type"},
        {"recover " + Card + out + " --sector-size 511", 2, "--sector-size"},
        {"recover " + Card + out + " --sector-size 4097", 2, "--sector-size"},
        {"recover " + Card + out + " --block-size 511", 2, "--block-size"},
        {"recover " + Card + out + " --block-size 2G", 2, "--block-size"},
        {"recover " + Card + out + " --start 4096", 2, "sectors 0 to 4095"},
        {"recover " + Card + out + " --start -1", 2, "'-1'"},
        {"recover " + Card + out + " --start 0x10", 2, "'0x10'"},
        {"recover " + Card + out + " --length 99999999999999999999", 2, "--length"},
        {"recover " + Card + out + " --cap 0", 2, "--cap"},
        {"recover " + Card + " --out " + Quoted(folder / "used"), 2, "not empty"},
        {"scan " + Card + " --report " + Quoted(folder / "finds"), 2, "--overwrite"},
        {"recover " + Quoted(folder / "missing") + out, 3, "No such file"},
        {"recover " + Quoted(folder / "empty") + out, 3, "empty"},
        {"recover " + Quoted(folder.Path()) + out, 3, "folder"},
        {"recover /dev/null" + out, 3, "neither"},
        {"recover -" + out, 3, "save it first"},
        {"scan -", 3, "save it first"},
        {"recover " + Card + " --out " + Quoted(folder / "empty"), 3, folder.Path().string()},
        {"scan " + Card + " --report " + Quoted(folder / "no/such/finds"), 3, "No such file"},
        {"extract " + Quoted(folder / "missing") + out, 3, "No such file"},
        {"extract " + Quoted(folder / "finds") + out, 3, "header"},
        {"extract " + Quoted(folder / "empty") + out, 3, "empty"},
    };
    for (const Case& one : cases) {
        const test::ProgramRun run = RunProgram(one.arguments);
        EXPECT_EQ(run.status, one.status) << one.arguments << "\n" << run.errors;
        EXPECT_NE(run.errors.find(one.says), std::string::npos) << one.arguments << "\n" << run.errors;
        EXPECT_EQ(std::count(run.errors.begin(), run.errors.end(), '\n'), 1) << run.errors;
        EXPECT_FALSE(fs::exists(folder / "out")) << one.arguments;
    }
    const fs::path copy = folder / "copy.img";
    fs::copy_file(Samples / "card.img", copy);
    EXPECT_EQ(RunProgram("scan " + Quoted(copy) + " --overwrite --report " + Quoted(copy)).status, 2);
    EXPECT_EQ(ReadFile(copy), ReadFile(Samples / "card.img"));
    EXPECT_EQ(RunProgram("scan " + Quoted(copy) + " --overwrite --report " + Quoted(folder / "finds")).status, 0);
}

TEST(Program, UsesAnImageThatHasGrownOrShrunk) {
    const TempFolder folder;
    const fs::path image = folder / "image";
    fs::copy_file(Samples / "card.img", image);
    ASSERT_EQ(RunProgram("scan " + Quoted(image) + " --report " + Quoted(folder / "finds")).status, 0);
    const auto extract = [&](const char* out) {
        return RunProgram("extract " + Quoted(folder / "finds") + " --out " + Quoted(folder / out));
    };
    ASSERT_EQ(extract("same").status, 0);
    const auto same = RecoveredFiles(folder / "same");

    fs::resize_file(image, 3 << 20U);
    const test::ProgramRun grown = extract("grown");
    EXPECT_EQ(grown.status, 0) << grown.errors;
    EXPECT_NE(grown.errors.find("has grown from 2097152 to 3145728 bytes"), std::string::npos) << grown.errors;
    EXPECT_EQ(RecoveredFiles(folder / "grown"), same);

    constexpr std::int64_t left = 1000000;
    fs::resize_file(image, left);
    const test::ProgramRun shorter = extract("shorter");
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

TEST(Program, PassesOverTheHolesOfASparseImage) {
    const TempFolder folder;
    const fs::path image = folder / "image";
    // Reading all of it would take the better part of an hour.
    constexpr std::int64_t middle = std::int64_t{4} << 40U;
    const Bytes card = ReadFile(Samples / "card.img");
    std::ofstream file(image, std::ios::binary);
    file.seekp(middle);
    file.write(reinterpret_cast<const char*>(card.data()), std::ssize(card));
    file.close();
    fs::resize_file(image, 2 * middle);
    ASSERT_EQ(RunProgram("recover " + Quoted(image) + " --out " + Quoted(folder / "out")).status, 0);
    ASSERT_EQ(RunProgram("recover " + Card + " --out " + Quoted(folder / "card")).status, 0);
    std::vector<Bytes> expected;
    for (auto& [path, bytes] : RecoveredFiles(folder / "card")) {
        expected.push_back(bytes);
    }
    std::vector<Bytes> found;
    for (auto& [path, bytes] : RecoveredFiles(folder / "out")) {
        found.push_back(bytes);
    }
    EXPECT_EQ(found, expected);
}

TEST(Program, NeverWritesToWhatItReads) {
    const TempFolder folder;
    const Bytes card = ReadFile(Samples / "card.img");
    for (const char* name : {"finds.jsonl", "job.json", "report.jsonl", "skipped.jsonl", "skipped.jsonl.part"}) {
        const fs::path out = folder / fmt::format("with-{}", name);
        fs::create_directory(out);
        fs::copy_file(Samples / "card.img", out / name);
        EXPECT_EQ(RunProgram("recover " + Quoted(out / name) + " --overwrite --out " + Quoted(out)).status, 2) << name;
        EXPECT_EQ(ReadFile(out / name), card) << name;
    }
    // The image has the name that the file found at its start would get.
    const fs::path image = folder / "out/jpg/f0000000000.jpg";
    fs::create_directories(image.parent_path());
    const auto photo = card.begin() + std::ptrdiff_t{72} * 512;
    const Bytes start(photo, photo + 60000);
    test::WriteFile(image, start);
    const test::ProgramRun run =
        RunProgram("recover " + Quoted(image) + " --overwrite --out " + Quoted(folder / "out"));
    EXPECT_EQ(run.status, 1) << run.errors;
    EXPECT_EQ(ReadFile(image), start);

    ASSERT_EQ(RunProgram("scan " + Card + " --report " + Quoted(folder / "out/report.jsonl") + " --overwrite").status,
              0);
    EXPECT_EQ(
        RunProgram("extract " + Quoted(folder / "out/report.jsonl") + " --overwrite --out " + Quoted(folder / "out"))
            .status,
        2);
}

TEST(Program, GoesOnWithoutStandardStreams) {
    const TempFolder folder;
    const std::string finds = Quoted(folder / "finds");
    const std::string program = "'" SALVOR_PROGRAM "' ";
    const auto shell = [](const std::string& command) {
        return WEXITSTATUS(std::system(command.c_str()));
    };
    EXPECT_EQ(shell(program + "scan missing --report " + finds + " 2>/dev/full"), 3);
    EXPECT_EQ(shell(program + "scan " + Card + " --types gif,jpg --report " + finds + " <&- >&- 2>&-"), 0);
    for (const json& line : ReadLines(folder / "finds")) {
        EXPECT_TRUE(line.contains("record"));
    }
}

TEST(Program, ListsTheTypesAndHelpsWithExamples) {
    const test::ProgramRun types = RunProgram("types");
    EXPECT_EQ(types.status, 0);
    // Each type has a line and belongs to a group.
    const auto groups = types.output.find("Words for several");
    ASSERT_NE(groups, std::string::npos);
    EXPECT_EQ(std::count(types.output.begin(), types.output.begin() + static_cast<std::ptrdiff_t>(groups), '\n'), 115);
    for (const FileTypeIdentity& type : FileTypeCatalog) {
        EXPECT_NE(types.output.find(std::string(" ") + type.extension, groups), std::string::npos) << type.extension;
    }
    const std::string explained = RunProgram("types .JPG 46").output;
    for (const char* part : {"(41)", "(42)", "(46)", "  Found   ", "  Limits  ", "up to 10 MiB; estimated"}) {
        EXPECT_NE(explained.find(part), std::string::npos) << part << " is not in " << explained;
    }
    for (const char* command : {"scan", "extract", "recover", "types"}) {
        const test::ProgramRun help = RunProgram(std::string(command) + " --help");
        EXPECT_EQ(help.status, 0);
        EXPECT_NE(help.output.find(std::string("Example: salvor ") + command), std::string::npos) << help.output;
    }
    EXPECT_EQ(RunProgram("--version").status, 0);
    EXPECT_EQ(RunProgram("help recover").output, RunProgram("recover --help").output);
    const test::ProgramRun alone = RunProgram("");
    EXPECT_EQ(alone.status, 2);
    EXPECT_EQ(std::count(alone.output.begin(), alone.output.end(), '\n'), 5);
}

TEST(Program, TakesGroupsOfTypesAndSizesAsItShowsThem) {
    const TempFolder folder;
    const auto count = [&](const std::string& filter) {
        const std::string out = Quoted(folder / "out");
        EXPECT_EQ(RunProgram("recover " + Card + " --quiet --out " + out + " " + filter).status, 0) << filter;
        std::set<std::string> folders;
        for (const auto& [name, bytes] : RecoveredFiles(folder / "out")) {
            folders.insert(name.substr(0, name.find('/')));
        }
        fs::remove_all(folder / "out");
        return folders;
    };
    EXPECT_EQ(count("--types mail"), (std::set<std::string>{"eml", "mht"}));
    EXPECT_EQ(count("--types JPEG --cap '10 MiB' --max-size 'photos=50174 bytes'"), std::set<std::string>{"jpg"});
    EXPECT_EQ(count("--types archives --min-size archives=2KB"), std::set<std::string>{"zip"});
}

TEST(Program, HelpManPagesAndCompletionKnowEveryOption) {
    const TempFolder folder;
    ASSERT_EQ(RunProgram("man --to " + Quoted(folder.Path())).status, 0);
    for (const char* command : {"recover", "list", "mount", "report"}) {
        const Bytes page = ReadFile(folder / ("salvor-" + std::string(command) + ".1"));
        std::string text(page.begin(), page.end());
        std::erase(text, '\\');
        std::istringstream help(RunProgram(std::string(command) + " --help").output);
        const std::string bash = RunProgram("completion bash").output;
        int options = 0;
        for (std::string word; help >> word;) {
            if (word.starts_with("--") && word.size() > 2 && std::isalpha(word.back()) != 0) {
                EXPECT_NE(text.find(word), std::string::npos) << word;
                EXPECT_NE(bash.find(word), std::string::npos) << word;
                ++options;
            }
        }
        EXPECT_GT(options, 2) << command;
    }
    const auto hasShell = [](const char* shell) {
        return std::system(fmt::format("command -v {} >/dev/null", shell).c_str()) == 0;
    };
    for (const char* shell : {"bash", "zsh", "fish"}) {
        test::WriteFile(folder / shell, RunProgram("completion " + std::string(shell)).output);
    }
    for (const auto& [words, completed] : {std::pair("recover --types jpg,pho", "jpg,photos"),
                                           std::pair("report out --format cs", "csv"), std::pair("man mer", "merge")}) {
        const std::string bash = fmt::format(
            "bash -c 'complete() {{ :; }}; . \"$0\"; COMP_WORDS=(salvor {}); COMP_CWORD=$((${{#COMP_WORDS[@]}} - 1)); "
            "_salvor; test \"${{COMPREPLY[*]}}\" = {}' {}",
            words, completed, Quoted(folder / "bash"));
        EXPECT_EQ(std::system(bash.c_str()), 0) << words;
        const std::string fish =
            fmt::format("test \"$(HOME={} fish -c 'source $argv[1]; complete -C \"salvor {}\"' {} | cut -f 1)\" = {}",
                        Quoted(folder.Path()), words, Quoted(folder / "fish"), completed);
        EXPECT_EQ(hasShell("fish") ? std::system(fish.c_str()) : 0, 0) << words;
    }
    EXPECT_EQ(hasShell("zsh") ? std::system(("zsh -n " + Quoted(folder / "zsh")).c_str()) : 0, 0);
}

TEST(Program, MountsFilesWithoutACopy) {
    const TempFolder folder;
    ASSERT_EQ(RunProgram("recover " + Card + " --quiet --out " + Quoted(folder / "out")).status, 0);
    EXPECT_EQ(test::WhileMounted(folder, "out", "diff -r seen/type/png out/png && ! touch seen/type/x 2>/dev/null"), 0);
}

// A raw image that begins like one of another format.
TEST(Program, GoesOnAndMountsWithTheFormatThatWasGiven) {
    const TempFolder folder;
    test::Bytes image{'Q', 'F', 'I', 0xFB};
    image.resize(4096);
    std::ranges::copy(test::Fixture("rgb8.png"), std::back_inserter(image));
    test::WriteFile(folder / "image", image);
    const std::string recover = "recover " + Quoted(folder / "image") + " --quiet --out " + Quoted(folder / "out");
    EXPECT_NE(RunProgram(recover).status, 0);
    EXPECT_EQ(RunProgram(recover + " --format raw").status, 0);
    EXPECT_EQ(RunProgram(recover).status, 0);
    EXPECT_EQ(test::WhileMounted(folder, "out", "cmp seen/type/png/f0000000008.png out/png/f0000000008.png"), 0);
}

TEST(Program, TakesEverySectorSizeAndBlockSizeAndARange) {
    const TempFolder folder;
    int run = 0;
    const auto finds = [&](const std::string& options) {
        const fs::path report = folder / std::to_string(++run);
        EXPECT_EQ(RunProgram("scan " + Card + " --report " + Quoted(report) + " " + options).status, 0) << options;
        std::set<std::pair<std::int64_t, std::int64_t>> found;
        for (const json& line : ReadLines(report)) {
            if (line["record"] == "find") {
                found.emplace(line["start_sector"].get<std::int64_t>(), line["size"].get<std::int64_t>());
            }
        }
        return found;
    };
    const auto whole = finds(FilesOnly);
    EXPECT_EQ(whole.size(), FilesOnTheCard());
    EXPECT_EQ(finds("--block-size 512" + FilesOnly), whole);
    EXPECT_EQ(finds("--block-size 1G" + FilesOnly), whole);
    // The card's files lie on clusters of 4096 bytes.
    std::set<std::pair<std::int64_t, std::int64_t>> inClusters;
    for (const auto& [sector, size] : finds("--types jpg,png")) {
        inClusters.emplace(sector / 8, size);
    }
    EXPECT_EQ(finds("--types jpg,png --sector-size 4096"), inClusters);
    const std::int64_t second = std::next(whole.begin())->first;
    EXPECT_EQ(finds(fmt::format("--start {} --length 1 --types jpg", second)).begin()->first, second);
    EXPECT_TRUE(finds("--length 0").empty());
}

}  // namespace

}  // namespace salvor
