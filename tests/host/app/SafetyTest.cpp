#include <fmt/format.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>

#include "host/platform/folder.h"
#include "host/say/say.h"
#include "tests/host/Program.h"

// What the program must not touch, and what it does where it cannot write.

namespace salvor {

namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using namespace test;

TEST(Safety, NeverWritesToWhatItReads) {
    const TempFolder folder;
    const Bytes card = ReadFile(CardImage);
    for (const char* name : {"finds.jsonl", "job.json", "report.jsonl", "skipped.jsonl", "skipped.jsonl.part"}) {
        const fs::path out = folder / fmt::format("with-{}", name);
        fs::create_directory(out);
        fs::copy_file(CardImage, out / name);
        EXPECT_EQ(RunProgram("recover " + Quoted(out / name) + " --overwrite --out " + Quoted(out)).status, 2) << name;
        EXPECT_EQ(ReadFile(out / name), card) << name;
    }
    // The image has the name that the file found at its start would get.
    const fs::path image = folder / "out/jpg/f0000000000.jpg";
    fs::create_directories(image.parent_path());
    const auto photo = card.begin() + std::ptrdiff_t{72} * 512;
    const Bytes start(photo, photo + 60000);
    WriteFile(image, start);
    const ProgramRun run = RunProgram("recover " + Quoted(image) + " --overwrite --out " + Quoted(folder / "out"));
    EXPECT_EQ(run.status, 1) << run.errors;
    EXPECT_EQ(ReadFile(image), start);

    ASSERT_EQ(RunProgram("scan " + Card + " --report " + Quoted(folder / "out/report.jsonl") + " --overwrite").status,
              0);
    EXPECT_EQ(
        RunProgram("extract " + Quoted(folder / "out/report.jsonl") + " --overwrite --out " + Quoted(folder / "out"))
            .status,
        2);
}

TEST(Safety, KeepsOtherRunsOutOfItsFolder) {
    const TempFolder folder;
    const std::string out = Quoted(folder / "out");
    ASSERT_EQ(RunProgram("recover " + Card + " --quiet --out " + out).status, 0);
    const auto before = FilesBelow(folder / "out");
    {
        File lock = Folder::Open(folder / "out").OpenLock("job.lock");
        ASSERT_TRUE(lock.Lock());
        const ProgramRun run = RunProgram("recover " + Card + " --overwrite --out " + out);
        EXPECT_EQ(run.status, 3);
        EXPECT_NE(run.errors.find("another run"), std::string::npos) << run.errors;
        EXPECT_EQ(FilesBelow(folder / "out"), before);
    }
    EXPECT_EQ(RunProgram("recover " + Card + " --overwrite --out " + out).status, 0);
}

TEST(Safety, FollowsNothingThatWasPlantedInItsFolder) {
    const TempFolder folder;
    const fs::path out = folder / "out";
    const std::string mine = "mine";
    const auto plant = [&](const std::string& name) {
        WriteFile(folder / "victim", mine);
        fs::create_directories((out / name).parent_path());
        fs::remove(out / name);
    };
    Bytes image = Fixture("rgb8.png");
    image.resize(image.size() + 4096);
    WriteFile(folder / "image", image);
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
            ASSERT_EQ(RunShell("cd " + Quoted(out) + " && " + how + Quoted(name)), 0);
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

TEST(Safety, GivesUpTheRightsOfRootUnlessTheFolderNeedsThem) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "needs the rights of root";
    }
    const TempFolder folder;
    const fs::path image = folder / "image";
    fs::copy_file(CardImage, image);
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

TEST(Safety, ShowsControlCharactersToNoTerminal) {
    const TempFolder folder;
    const fs::path image = folder / "a\x1B]0;b\x07\xC2\x9Bm\xFF\xC3\xA4";
    fs::copy_file(CardImage, image);
    for (const std::string& arguments :
         {"scan " + Quoted(image) + " --report " + Quoted(image), Quoted(image), "scan x --bad=" + Quoted(image),
          "scan " + Quoted(image / "missing") + " --report -"}) {
        const ProgramRun run = RunProgram(arguments);
        EXPECT_NE(run.status, 0) << arguments;
        EXPECT_EQ(std::ranges::count_if(run.errors, [](unsigned char c) { return c < 0x20; }), 1) << run.errors;
    }
    const std::string shown = RunProgram("scan " + Quoted(image / "missing") + " --report -").errors;
    EXPECT_NE(shown.find("a\\x1b]0;b\\x07\\xc2\\x9bm\\xff\xC3\xA4/missing"), std::string::npos) << shown;
    // The text that the program suggests to type into a shell must lead to the same path.
    const std::string quoted = image.string() + "'\\";
    EXPECT_EQ(ShellWord(quoted).find('\x1B'), std::string::npos);
    WriteFile(folder / "script", "printf %s " + ShellWord(quoted));
    ASSERT_EQ(RunShell("bash " + Quoted(folder / "script") + " >" + Quoted(folder / "echo")), 0);
    EXPECT_EQ(ReadFile(folder / "echo"), Bytes(quoted.begin(), quoted.end()));
}

TEST(Safety, WritesWhatTheDiskHasRoomFor) {
    const TempFolder folder;
    // A sparse image and a find in it, both larger than the free space of the disk that the test runs on.
    const std::uintmax_t huge = fs::space(folder.Path()).available + (std::uintmax_t{1} << 30U);
    WriteFile(folder / "image", std::string("x"));
    fs::resize_file(folder / "image", huge);
    ASSERT_EQ(
        RunProgram("scan " + Quoted(folder / "image") + " --length 8 --report " + Quoted(folder / "finds")).status, 0);
    std::ofstream(folder / "finds", std::ios::app)
        << R"({"record":"find","type":46,"extension":"png","start_sector":1,"size":600})" << '\n'
        << fmt::format(R"({{"record":"find","type":46,"extension":"png","start_sector":9,"size":{}}})", huge) << '\n';
    const std::string extract =
        "extract --as-reported " + Quoted(folder / "finds") + " --out " + Quoted(folder / "out");
    const ProgramRun run = RunProgram(extract);
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.errors.find("no room"), std::string::npos) << run.errors;
    EXPECT_EQ(RecoveredFiles(folder / "out").size(), 1U);
    const auto skipped = ReadLines(folder / "out/skipped.jsonl");
    ASSERT_EQ(skipped.size(), 1U);
    EXPECT_EQ(skipped[0]["reason"], "no room on the disk");
    EXPECT_EQ(skipped[0]["start_sector"], 9);
}

TEST(Safety, WritesFilesToASmallDiskBeforeItListsTheRest) {
    const TempFolder folder;
    fs::create_directory(folder / "disk");
    WriteFile(folder / "onDisk", "cd " + Quoted(folder.Path()) +
                                     "; mount -t tmpfs -o size=3M,nr_inodes=300 none disk || exit 100\n"
                                     "\"$@\"; status=$?; cp -r disk/out copy; exit $status\n");
    Bytes picture = Fixture("lossy.webp");
    picture.resize(1024);
    Bytes image;
    constexpr std::size_t pictures = 4000;
    for (std::size_t i = 0; i < pictures; ++i) {
        image.insert(image.end(), picture.begin(), picture.end());
    }
    WriteFile(folder / "image", image);
    const ProgramRun run = RunProgram("recover " + Quoted(folder / "image") + " --out disk/out",
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

TEST(Safety, SaysWhatToDoIfTheDiskHasNoRoomForTheFinds) {
    const TempFolder folder;
    fs::create_directory(folder / "disk");
    WriteFile(folder / "onDisk",
              "cd " + Quoted(folder.Path()) + "; mount -t tmpfs -o size=200k none disk || exit 100; \"$@\"\n");
    Bytes sector = Fixture("lossy.webp");
    sector.resize(512);
    Bytes image;
    for (int i = 0; i < 8000; ++i) {
        image.insert(image.end(), sector.begin(), sector.end());
    }
    WriteFile(folder / "image", image);
    for (const char* const command : {"recover image --out disk/out", "scan image --report disk/finds"}) {
        const ProgramRun run = RunProgram(command, "unshare -rm sh " + Quoted(folder / "onDisk"));
        if (run.status == 100 || run.errors.find("unshare") != std::string::npos) {
            GTEST_SKIP() << "needs user namespaces: " << run.errors;
        }
        EXPECT_EQ(run.status, 1) << command;
        EXPECT_NE(run.errors.find("'salvor scan IMAGE --report FINDS'"), std::string::npos) << run.errors;
    }
}

TEST(Safety, GoesOnAfterAFileThatCannotBeWritten) {
    const TempFolder folder;
    ASSERT_EQ(RunProgram("scan " + Card + FilesOnly + "--quiet --report " + Quoted(folder / "finds")).status, 0);
    ASSERT_EQ(RunProgram("validate --quiet " + Quoted(folder / "finds")).status, 0);
    // 48 blocks of 1024 bytes: larger files cannot be written.
    const ProgramRun run =
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

}  // namespace

}  // namespace salvor
