#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <tuple>

#include "host/volumes/prefer_known.h"
#include "tests/host/Program.h"
#include "tests/host/volumes/FileSystemImage.h"

namespace salvor {

namespace {

using namespace test;

// A PDF that its scanner finds only if it meets all of the bytes, one after the other.
Bytes Document() {
    const Bytes data = Pattern(60000);
    std::string text = "%PDF-1.4\n1 0 obj\n<</Length 60000>>\nstream\n" + std::string(data.begin(), data.end()) +
                       "\nendstream\nendobj\n";
    text += fmt::format(
        "xref\n0 2\n0000000000 65535 f \n0000000009 00000 n \ntrailer\n<</Size 2/Root 1 0 R>>\nstartxref\n{}\n%%EOF\n",
        text.size());
    return {text.begin(), text.end()};
}

class AskFileSystems : public testing::TestWithParam<const char*> {};

// A living photo in pieces, a living sound with holes, and a deleted picture.
TEST_P(AskFileSystems, BringsBackFilesInPiecesAndTheirNames) {
    const TempFolder folder;
    const Bytes photo = Fixture("jfif-baseline.jpg");
    const Bytes picture = Fixture("rgb8.png");
    const std::string missing =
        MakeFileSystem(folder, GetParam(), {{"pieces", photo}, {"kept", SoundWithSilence()}, {"gone", picture}});
    if (!missing.empty()) {
        GTEST_SKIP() << "needs " << missing;
    }
    const auto recover = [&](const std::string& out, const std::string& options) {
        const ProgramRun run =
            RunProgram("recover " + Quoted(folder / "image") + " --out " + Quoted(folder / out) + " " + options);
        EXPECT_EQ(run.status, 0) << run.errors;
        EXPECT_EQ(run.errors, "");
    };
    recover("out", "--names original");
    EXPECT_EQ(ReadFile(folder / "out/original/dir/pieces"), photo);
    EXPECT_EQ(ReadFile(folder / "out/original/dir/kept"), SoundWithSilence());
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
    for (const char* from : {"out", "out/finds.jsonl"}) {
        const std::string list = RunProgram("list " + Quoted(folder / from) + " --names original").output;
        EXPECT_NE(list.find(" original/dir/pieces  dir/pieces"), std::string::npos) << list;
        EXPECT_EQ(WhileMounted(folder, from, "cmp seen/name/dir/pieces out/original/dir/pieces"), 0);
    }

    recover("alone", "--no-file-system");
    const auto records = ReadLines(folder / "alone/report.jsonl");
    EXPECT_TRUE(std::ranges::none_of(records, [](const auto& one) { return one.contains("file_system"); }));
}

// What was stored is not asked for again: then it does no harm if all workers crash.
TEST_P(AskFileSystems, KeepsWhatTheyKnowBesideTheOutcomes) {
    const TempFolder folder;
    const Bytes document = Document();
    if (const std::string missing = MakeFileSystem(folder, GetParam(), {{"pieces", document}}); !missing.empty()) {
        GTEST_SKIP() << "needs " << missing;
    }
    const auto path = [&folder](const char* name) {
        return " " + Quoted(folder / name) + " ";
    };
    ASSERT_EQ(RunProgram("scan" + path("image") + "--quiet --report" + path("card.finds")).status, 0);
    EXPECT_EQ(RunProgram("validate --no-file-system" + path("card.finds")).status, 0);
    EXPECT_FALSE(std::filesystem::exists(folder / "card.known"));
    EXPECT_EQ(RunProgram("validate" + path("card.finds")).status, 0);
    EXPECT_TRUE(std::filesystem::exists(folder / "card.known"));

    const auto extract = [&](const char* out) {
        const ProgramRun run = RunProgram("extract --names original" + path("card.finds") + "--out" + path(out),
                                          "SALVOR_TEST_FAULT=crash");
        EXPECT_EQ(run.status, 0) << run.errors;
        return run.errors;
    };
    EXPECT_NE(RunProgram("list" + path("card.finds"), "SALVOR_TEST_FAULT=crash").output.find("  dir/pieces"),
              std::string::npos);
    EXPECT_EQ(extract("out"), "");
    EXPECT_EQ(ReadFile(folder / "out/original/dir/pieces"), document);
    std::filesystem::remove(folder / "card.known");
    EXPECT_NE(extract("other").find("is left out"), std::string::npos);
}

// A sound that was cut before it was stored seems to go on behind its end. A declared end says more than an entry.
TEST(PreferKnown, BelievesTheSizeOfALivingFileUnlessItsBytesDeclareOne) {
    const Finding cut{.verdict = Verdict::Truncated, .size = 900};
    for (const auto& [verdict, isDeleted, size] : {std::tuple(Verdict::Open, false, std::int64_t{1000}),
                                                   {Verdict::Open, true, 1024},
                                                   {Verdict::Whole, false, 1024}}) {
        KnownFile file;
        file.size = 1000;
        file.isDeleted = isDeleted;
        file.isComplete = true;
        file.extents = {{8, 1024}};
        const KnownFiles files({file}, {}, 512);
        Outcomes outcomes(1);
        outcomes[0].startSector = 8;
        outcomes[0].finding = {.verdict = verdict, .size = 1024};
        PreferKnown(files, {{0, cut}}, 512, outcomes);
        ASSERT_EQ(outcomes.size(), 1U);
        EXPECT_EQ(outcomes[0].finding.size, size);
        EXPECT_EQ(outcomes[0].known, 0);
    }
}

// A sound whose first 64 KiB cannot be compressed begins on the medium as it is. Streams without a name of their own
// are files, others are files beside them.
TEST(NtfsFiles, MayBeCompressedPartlyUnwrittenOrHaveSeveralStreams) {
    const TempFolder folder;
    const Bytes photo = Fixture("jfif-baseline.jpg");
    Bytes sound = SoundWithSilence();
    std::ranges::copy(Pattern(65536 - 44), sound.begin() + 44);
    std::fill(sound.end() - 5000, sound.end(), std::uint8_t{7});
    WriteFile(folder / "sound", sound);
    WriteFile(folder / "photo", photo);
    const auto recover = [&](const std::string& options, const std::string& put) {
        const std::string script = "which mkntfs ntfscp\nrm -rf out\ntruncate -s 8M image\nmkntfs -F -Q -q " + options +
                                   " image\nntfscp -q image sound sound\n" + put;
        return RunScript(folder, script) ? RunProgram("recover " + Quoted(folder / "image") +
                                                      " --names original --quiet --out " + Quoted(folder / "out"))
                                               .errors
                                         : "skipped";
    };
    const std::string errors = recover("-C", "");
    if (errors == "skipped") {
        GTEST_SKIP() << "needs mkntfs and ntfscp";
    }
    EXPECT_NE(errors.find("1 living file cannot be carved"), std::string::npos) << errors;
    for (const auto& record : ReadLines(folder / "out/report.jsonl")) {
        EXPECT_NE(record.value("verdict", ""), "whole") << record;
    }
    // The record's size, and how many bytes of it were ever written.
    const std::string written = R"(printf '\220\137\001\0\0\0\0\0\0\0\001\0\0\0\0\0' >new
at=$(LC_ALL=C grep -obUaP '(\x90\x5F\x01\0{5}){2}' image | head -1 | cut -d: -f1)
dd if=new of=image bs=1 seek=$at conv=notrunc
)";
    std::fill(sound.begin() + 65536, sound.end(), std::uint8_t{0});
    EXPECT_EQ(recover("", written + "ntfscp -q -N stream image photo sound"), "");
    EXPECT_EQ(ReadFile(folder / "out/original/sound"), sound);
    EXPECT_EQ(ReadFile(folder / "out/original/sound_stream"), photo);
}

// The names contain every byte that a name may have.
TEST(OriginalNames, OfAllBytesBecomeFilesBelowTheFolder) {
    const TempFolder folder;
    const Bytes picture = Fixture("rgb8.png");
    std::filesystem::create_directory(folder / "root");
    std::size_t names = 0;
    for (int byte = 1; byte < 256; ++byte) {
        if (byte != '/' && byte != '.') {
            WriteFile(folder / ("root/" + std::string(1, static_cast<char>(byte))), picture);
            ++names;
        }
    }
    if (!RunScript(folder, "which mke2fs\nmke2fs -q -t ext4 -b 4096 -N 400 -d root image 16M")) {
        GTEST_SKIP() << "needs mke2fs";
    }
    const ProgramRun run =
        RunProgram("recover --names original " + Quoted(folder / "image") + " --quiet --out " + Quoted(folder / "out"));
    EXPECT_EQ(run.status, 0) << run.errors;
    std::size_t written = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder / "out/original")) {
        EXPECT_EQ(ReadFile(entry.path()), picture) << entry.path();
        ++written;
    }
    EXPECT_EQ(written, names);
}

TEST_P(AskFileSystems, ListsVolumesAndScansOneOfThem) {
    const TempFolder folder;
    const std::string missing = MakeFileSystem(folder, GetParam());
    if (!missing.empty()) {
        GTEST_SKIP() << "needs " << missing;
    }
    // The file system as the second of two partitions.
    const Bytes volume = ReadFile(folder / "image");
    Bytes disk(2048 * 512);
    PutPartition(disk, 0, 0x83, 1, 100);
    PutPartition(disk, 1, 0x83, 2048, static_cast<std::uint32_t>(volume.size() / 512));
    disk.insert(disk.end(), volume.begin(), volume.end());
    WriteFile(folder / "disk", disk);
    const std::string path = Quoted(folder / "disk");
    const ProgramRun info = RunProgram("info " + path);
    EXPECT_NE(info.output.find(std::string(", ") + GetParam() + " with clusters of"), std::string::npos) << info.output;
    EXPECT_NE(info.output.find("no known file system: carved as a stream"), std::string::npos) << info.output;
    const std::string finds = (folder / "finds").string();
    EXPECT_EQ(RunProgram("scan " + path + " --volume 3 --report '" + finds + "'").status, 2);
    EXPECT_EQ(RunProgram("scan " + path + " --volume 2 --report '" + finds + "'").status, 0);
    EXPECT_EQ(ReadLines(finds).front()["range"]["start"], 2048);
}

INSTANTIATE_TEST_SUITE_P(All, AskFileSystems, testing::Values("FAT32", "ext4"),
                         [](const auto& kind) { return std::string(kind.param); });

}  // namespace

}  // namespace salvor
