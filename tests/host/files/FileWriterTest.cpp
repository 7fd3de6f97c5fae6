#include "host/files/file_writer.h"

#include <FileTypeCatalog.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>
#include <fstream>
#include <functional>
#include <set>
#include <string>

#include "host/files/write_files.h"
#include "host/medium/extent_source.h"
#include "host/medium/open_image.h"
#include "host/records/digest.h"
#include "host/report/report.h"
#include "host/say/failure.h"
#include "tests/host/TestFiles.h"

namespace salvor {

namespace {

using namespace test;
namespace fs = std::filesystem;

PlannedFile FileAt(std::int64_t startSector, std::int64_t size) {
    PlannedFile file;
    file.extents = {{startSector, size}};
    file.finding.size = size;
    file.finding.type = FileTypeIndex::Png;
    file.path = "png/f" + std::to_string(startSector) + ".png";
    return file;
}

std::string HashOf(const Bytes& bytes) {
    Sha256 hash;
    hash.Add(bytes.data(), bytes.size());
    return hash.Hex();
}

class FileWriterTest : public testing::Test {
protected:
    // More than one piece, so that files cross the boundary between pieces.
    Bytes image = test::Pattern((9 << 20) + 300);
    TempFolder folder;

    Bytes Slice(std::int64_t startSector, std::int64_t size) const {
        const auto begin = image.begin() + startSector * 512;
        return {begin, begin + size};
    }
    std::unique_ptr<MediumSource> ImageOnDisk() {
        test::WriteFile(folder / "image", image);
        return OpenImage({(folder / "image").string()});
    }
    static bool NeverStops(std::int64_t /*done*/) { return false; }
};

TEST_F(FileWriterTest, CopiesTheRangeFromAFileAndFromADevice) {
    for (const bool fromDisk : {true, false}) {
        Medium medium(fromDisk ? ImageOnDisk() : std::make_unique<FakeDevice>(image), 512);
        const auto out = folder / (fromDisk ? "a" : "b");
        fs::create_directory(out);
        const Folder opened = Folder::Open(out);
        FileWriter writer(medium, opened, ".part", NeverStops);
        const std::int64_t sectors = (9 << 20) / 512;
        for (const PlannedFile& file : {FileAt(0, 1), FileAt(3, 8 << 20), FileAt(5, (4 << 20) + 1),
                                        FileAt(sectors, 300), FileAt(sectors - 1, 812)}) {
            const WriteResult result = writer.Write(file);
            EXPECT_EQ(result.outcome, WriteOutcome::Written) << result.error;
            EXPECT_EQ(test::ReadFile(out / file.path), Slice(file.StartSector(), file.Size())) << file.path;
            EXPECT_EQ(result.sha256, HashOf(Slice(file.StartSector(), file.Size())));
            EXPECT_FALSE(std::filesystem::exists((out / file.path).string() + ".part"));
        }
    }
}

TEST_F(FileWriterTest, JoinsExtents) {
    for (const bool fromDisk : {true, false}) {
        Medium medium(fromDisk ? ImageOnDisk() : std::make_unique<FakeDevice>(image), 512);
        const Folder opened = Folder::Open(folder.Path());
        FileWriter writer(medium, opened, ".part", NeverStops);
        PlannedFile file = FileAt(9000, 3 << 20);
        file.path = fromDisk ? "png/a.png" : "png/b.png";
        file.extents = {{9000, 2 << 20}, {10, 1024}, {40, (1 << 20) - 1024 - 7}, {8, 7}};
        Bytes expected;
        for (const Extent& extent : file.extents) {
            const Bytes piece = Slice(extent.startSector, extent.bytes);
            expected.insert(expected.end(), piece.begin(), piece.end());
        }
        const WriteResult result = writer.Write(file);
        EXPECT_EQ(test::ReadFile(folder / file.path), expected);
        EXPECT_EQ(result.sha256, HashOf(expected));
        EXPECT_EQ(writer.Write(file).outcome, WriteOutcome::AlreadyThere);
        EXPECT_EQ(FileRecord(file, result, 512)["extents"].size(), 4U);

        // The same extents as a medium, whose sectors do not line up with them.
        Medium joined(std::make_unique<ExtentSource>(medium, file.extents), 1024);
        Bytes read(static_cast<std::size_t>(joined.SectorCount()) * 1024);
        joined.Read(0, read.data(), joined.SectorCount());
        read.resize(expected.size());
        EXPECT_EQ(read, expected);
        EXPECT_EQ(joined.SizeInBytes(), 3 << 20);
    }
}

TEST(Sha256, GivesThePublishedDigests) {
    EXPECT_EQ(HashOf({}), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
    EXPECT_EQ(HashOf({'a', 'b', 'c'}), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
}

TEST_F(FileWriterTest, LeavesRightFilesAloneAndReplacesWrongOnes) {
    Medium medium(ImageOnDisk(), 512);
    const Folder opened = Folder::Open(folder.Path());
    FileWriter writer(medium, opened, ".part", NeverStops);
    const PlannedFile file = FileAt(3, 5 << 20);
    const auto path = folder / file.path;
    EXPECT_EQ(writer.Write(file).outcome, WriteOutcome::Written);
    const auto inode = [&] {
        struct stat info {};
        EXPECT_EQ(stat(path.c_str(), &info), 0);
        return info.st_ino;
    };
    const auto written = inode();
    const WriteResult again = writer.Write(file);
    EXPECT_EQ(again.outcome, WriteOutcome::AlreadyThere);
    EXPECT_EQ(again.sha256, HashOf(Slice(3, 5 << 20)));
    EXPECT_EQ(inode(), written);

    Bytes wrong = Slice(3, 5 << 20);
    wrong.back() ^= 1U;
    test::WriteFile(path, wrong);
    EXPECT_EQ(writer.Write(file).outcome, WriteOutcome::Written);
    EXPECT_EQ(test::ReadFile(path), Slice(3, 5 << 20));

    // A link in the way is replaced, not followed.
    test::WriteFile(folder / "elsewhere", wrong);
    std::filesystem::remove(path);
    std::filesystem::create_symlink(folder / "elsewhere", path);
    EXPECT_EQ(writer.Write(file).outcome, WriteOutcome::Written);
    EXPECT_TRUE(std::filesystem::is_regular_file(std::filesystem::symlink_status(path)));
    EXPECT_EQ(test::ReadFile(folder / "elsewhere"), wrong);
}

TEST_F(FileWriterTest, WritesZerosForUnreadableSectorsAndSaysSo) {
    auto device = std::make_unique<FakeDevice>(image);
    device->Break(10 * 512, 11 * 512);
    Medium medium(std::move(device), 512);
    const Folder opened = Folder::Open(folder.Path());
    FileWriter writer(medium, opened, ".part", NeverStops);
    const WriteResult result = writer.Write(FileAt(8, 2000));
    Bytes expected = Slice(8, 2000);
    std::fill_n(expected.begin() + 1024, 512, std::uint8_t{0});
    EXPECT_EQ(result.outcome, WriteOutcome::Written);
    EXPECT_EQ(result.unreadableBytes, 512);
    EXPECT_EQ(result.sha256, HashOf(expected));
    EXPECT_EQ(test::ReadFile(folder / "png/f8.png"), expected);
    EXPECT_EQ(writer.Write(FileAt(11, 2000)).unreadableBytes, 0);
    PlannedFile whole = FileAt(8, 2000);
    whole.finding.verdict = Verdict::Whole;
    whole.finding.type = FileTypeIndex::Png;
    EXPECT_EQ(FileRecord(whole, result, 512)["verdict"], "damaged");
    const WriteResult lost = writer.Write(FileAt(10, 100));
    EXPECT_EQ(lost.outcome, WriteOutcome::Failed);
    EXPECT_NE(lost.error.find("none of its bytes"), std::string::npos) << lost.error;
    EXPECT_FALSE(fs::exists(folder / "png/f10.png"));
}

TEST_F(FileWriterTest, LeavesNothingHalfWritten) {
    Medium medium(ImageOnDisk(), 512);
    const Folder opened = Folder::Open(folder.Path());
    FileWriter stopping(medium, opened, ".part", [](std::int64_t done) { return done > (4 << 20); });
    EXPECT_EQ(stopping.Write(FileAt(0, 9 << 20)).outcome, WriteOutcome::Stopped);
    EXPECT_TRUE(std::filesystem::is_empty(folder / "png"));

    FileWriter writer(medium, opened, ".part", NeverStops);
    // The system's limit on a file's size stands in for a full disk.
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
    const rlimit small{1 << 20, before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
    const WriteResult tooLarge = writer.Write(FileAt(0, 3 << 20));
    const WriteResult fits = writer.Write(FileAt(1, 1000));
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &before), 0);
    EXPECT_EQ(tooLarge.outcome, WriteOutcome::Failed);
    EXPECT_FALSE(tooLarge.error.empty());
    EXPECT_EQ(fits.outcome, WriteOutcome::Written);
    EXPECT_FALSE(std::filesystem::exists(folder / "png/f0.png.part"));

    std::filesystem::create_directory(folder / "png/f2.png");
    EXPECT_EQ(writer.Write(FileAt(2, 100)).outcome, WriteOutcome::Failed);
    EXPECT_FALSE(std::filesystem::exists(folder / "png/f2.png.part"));
    test::WriteFile(folder / "jpg", std::string("a file where a folder should be"));
    PlannedFile blocked = FileAt(4, 100);
    blocked.path = "jpg/f4.jpg";
    const WriteResult result = writer.Write(blocked);
    EXPECT_EQ(result.outcome, WriteOutcome::Failed);
    EXPECT_FALSE(result.error.empty());
}

TEST_F(FileWriterTest, GoesOnInTheMiddleOfAFile) {
    const PlannedFile file = FileAt(8, (8 << 20) + 700);
    const auto draft = folder / "png/f8.png.part";
    const Folder opened = Folder::Open(folder.Path());
    // Marks every piece; a stop leaves what a kill does.
    const auto writeOn = [&](std::int64_t brokenFrom, std::int64_t brokenTo, std::int64_t stopAt) {
        auto device = std::make_unique<FakeDevice>(image);
        device->Break(brokenFrom, brokenTo);
        Medium medium(std::move(device), 512);
        WritingLog log(opened, std::nullopt, true, std::chrono::milliseconds(0));
        return FileWriter(
                   medium, opened, ".part", [&](std::int64_t done) { return done > stopAt; }, nullptr, &log)
            .Write(file);
    };
    Bytes expected = Slice(8, file.Size());
    std::fill_n(expected.begin() + 1024, 512, std::uint8_t{0});
    constexpr std::int64_t allOfIt = 10 << 20;
    const auto append = [&] {
        std::ofstream(draft, std::ios::app) << "not on the disk yet";
    };
    const auto damage = [&] {
        std::fstream(draft).seekp(1 << 20).put('x');
    };
    const auto cut = [&] {
        fs::resize_file(draft, 3 << 20);
    };
    const auto link = [&] {
        fs::create_hard_link(draft, folder / "linked");
    };
    const std::vector<std::pair<bool, std::function<void()>>> cases{{true,
                                                                     [] {
                                                                     }},
                                                                    {true, append},
                                                                    {false, damage},
                                                                    {false, cut},
                                                                    {false, link}};
    for (const auto& [goesOn, happens] : cases) {
        EXPECT_EQ(writeOn(10 * 512, 11 * 512, 4 << 20).outcome, WriteOutcome::Stopped);
        happens();
        // What is read again is lost.
        const WriteResult result = writeOn(0, 2 << 20, allOfIt);
        EXPECT_EQ(result.outcome, WriteOutcome::Written) << result.error;
        EXPECT_EQ(result.unreadableBytes, goesOn ? 512 : (2 << 20) - 8 * 512);
        EXPECT_EQ(test::ReadFile(folder / file.path) == expected, goesOn);
        if (goesOn) {
            EXPECT_EQ(result.sha256, HashOf(expected));
            // The run ended before the report told of the file.
            const WriteResult again = writeOn(0, allOfIt, allOfIt);
            EXPECT_EQ(again.outcome, WriteOutcome::AlreadyThere);
            EXPECT_EQ(again.sha256, result.sha256);
        }
        fs::remove(folder / file.path);
    }

    // Extents of another plan, and lines of another job, count for nothing.
    EXPECT_EQ(writeOn(0, 0, 4 << 20).outcome, WriteOutcome::Stopped);
    PlannedFile shorter = FileAt(8, 8 << 20);
    EXPECT_FALSE(WritingLog(opened, std::nullopt, true).Find(shorter));
    EXPECT_TRUE(WritingLog(opened, std::nullopt, true).Find(file));
    WritingLog(opened, std::nullopt, true).Finish();
    EXPECT_FALSE(fs::exists(draft));
    EXPECT_FALSE(WritingLog(opened, std::nullopt, true).Find(file));
}

TEST_F(FileWriterTest, KeepsOffTheImageItself) {
    fs::create_directory(folder / "png");
    test::WriteFile(folder / "png/f0.png", image);
    fs::create_hard_link(folder / "png/f0.png", folder / "png/f1.png.part");
    Medium medium(OpenImage({(folder / "png/f0.png").string()}), 512);
    const Folder opened = Folder::Open(folder.Path());
    FileWriter writer(medium, opened, ".part", NeverStops);
    for (const std::int64_t start : {0, 1}) {
        EXPECT_EQ(writer.Write(FileAt(start, 100)).outcome, WriteOutcome::Failed);
    }
    EXPECT_EQ(test::ReadFile(folder / "png/f0.png"), image);
    EXPECT_TRUE(fs::exists(folder / "png/f1.png.part"));
}

TEST_F(FileWriterTest, SideBySideFilesAreHandedOnInOrderAndAfterAStopAllThatAreFinished) {
    class Observer : public WriteObserver {
    public:
        explicit Observer(std::size_t most) : most_(most) {}
        void OnFile(const PlannedFile& file, const WriteResult& result) override {
            if (result.outcome != WriteOutcome::Stopped) {
                EXPECT_EQ(result.outcome, WriteOutcome::Written) << result.error;
                starts.push_back(file.StartSector());
                paths.insert(file.path);
            }
        }
        bool OnProgress(std::int64_t /*bytes*/) override { return starts.size() >= most_; }
        std::vector<std::int64_t> starts;
        std::set<std::string> paths;

    private:
        std::size_t most_;
    };
    Medium medium(std::make_unique<FakeDevice>(image), 512);
    Plan plan;
    std::vector<std::int64_t> starts;
    for (std::int64_t i = 0; i < 60; ++i) {
        // Large and small ones alternate, so that later ones are finished first.
        plan.files.push_back(FileAt(i, i % 7 == 0 ? 3 << 20 : 100));
        starts.push_back(i);
    }
    Observer all(1000);
    const Folder opened = Folder::Open(folder.Path());
    WritingLog log(opened, std::nullopt, true);
    EXPECT_TRUE(WriteFiles(medium, {plan.files, opened.Below("all", true), ".part", {}, log}, all));
    EXPECT_EQ(all.starts, starts);
    EXPECT_EQ(test::ReadFile(folder / "all" / plan.files[7].path), Slice(7, 3 << 20));

    Observer some(5);
    EXPECT_FALSE(WriteFiles(medium, {plan.files, opened.Below("some", true), ".part", {}, log}, some));
    EXPECT_GE(some.starts.size(), 5U);
    EXPECT_TRUE(std::ranges::is_sorted(some.starts));
    std::set<std::string> written;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder / "some")) {
        if (entry.is_regular_file()) {
            written.insert(std::filesystem::relative(entry.path(), folder / "some").string());
        }
    }
    EXPECT_EQ(written, some.paths);
}

TEST_F(FileWriterTest, KeepsOneFileOfThoseWithTheSameBytesAndNoneThatIsKnown) {
    // Two large files come before small copies of others: the copies are finished first.
    const Bytes copied = Slice(2, 3 << 20);
    std::copy(copied.begin(), copied.end(), image.begin() + 8192 * 512);
    Medium medium(std::make_unique<FakeDevice>(image), 512);
    Plan plan;
    PlannedFile renamed = FileAt(8193, 101);
    renamed.path = "gif/f8193.gif";
    for (const PlannedFile& file :
         {FileAt(2, 3 << 20), FileAt(3, 100), FileAt(8192, 3 << 20), FileAt(8193, 100), renamed, FileAt(9, 1000)}) {
        plan.files.push_back(file);
    }
    test::WriteFile(folder / "list", HashOf(Slice(9, 1000)) + "  name\n");
    ContentFilter content;
    content.unique = true;
    content.known.Add((folder / "list").string());

    class Observer : public WriteObserver {
    public:
        void OnFile(const PlannedFile& /*file*/, const WriteResult& result) override { results.push_back(result); }
        bool OnProgress(std::int64_t /*bytes*/) override { return false; }
        std::vector<WriteResult> results;
    };
    for (const WriteOutcome wanted : {WriteOutcome::Written, WriteOutcome::AlreadyThere}) {
        Observer seen;
        const Folder out = Folder::Open(folder.Path()).Below("out", true);
        WritingLog log(out, std::nullopt, true);
        ASSERT_TRUE(WriteFiles(medium, {plan.files, out, ".part", content, log}, seen));
        std::vector<WriteOutcome> outcomes;
        for (const WriteResult& result : seen.results) {
            outcomes.push_back(result.outcome);
        }
        EXPECT_EQ(outcomes, (std::vector{wanted, wanted, WriteOutcome::SameBytes, WriteOutcome::SameBytes, wanted,
                                         WriteOutcome::Known}));
        EXPECT_EQ(seen.results[2].sameAs, "png/f2.png");
        EXPECT_EQ(seen.results[3].sameAs, "png/f3.png");
        std::size_t files = 0;
        for (const auto& entry : fs::recursive_directory_iterator(folder / "out")) {
            files += entry.is_regular_file() ? 1U : 0U;
        }
        EXPECT_EQ(files, 3U);
    }
}

TEST(HashList, ReadsListsOfEveryForm) {
    const TempFolder folder;
    const std::string md5 = "d41d8cd98f00b204e9800998ecf8427e";
    const std::string sha1 = "DA39A3EE5E6B4B0D3255BFEF95601890AFD80709";
    const std::string sha256 = "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855";
    FileDigest empty({true, true, true});
    const FileHashes hashes = empty.Hashes();
    for (const auto& [text, kind] : std::vector<std::pair<std::string, int>>{
             {md5, 0},
             {"\xEF\xBB\xBF" + sha1 + "\r\n", 1},
             {"# mine\n\n" + sha256 + "  a name.jpg\nno hash\n", 2},
             {"\\" + md5 + " *a\\\\b\n", 0},
             {"SHA256 (a.jpg) = " + sha256 + "\n", 2},
             {"\"MD5\",\"SHA-1\",\"Name\"\r\n\"" + std::string(32, '0') + "\",\"" + sha1 + "\",\"a,\"\r\n", 1},
             {"\"Name, long\",\"md5\"\n\"x, y\",\"" + md5 + "\"\n", 0}}) {
        WriteFile(folder / "list", text);
        HashList list;
        list.Add((folder / "list").string());
        EXPECT_TRUE(list.Contains(hashes)) << text;
        EXPECT_FALSE(list.Contains({hashes.sha1, hashes.sha256, hashes.md5})) << text;
        const HashKinds kinds = list.Kinds();
        EXPECT_EQ(std::vector({kinds.md5, kinds.sha1, kinds.sha256}), std::vector({kind == 0, kind == 1, kind == 2}));
    }
    for (const std::string& text : {std::string("a.jpg\n"), md5 + "0\n", md5.substr(1) + "\n", std::string()}) {
        WriteFile(folder / "list", text);
        EXPECT_THROW(HashList().Add((folder / "list").string()), Failure) << text;
    }
}

}  // namespace

}  // namespace salvor
