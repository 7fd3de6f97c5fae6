#include "host/report/report_reader.h"

#include <FileTypeCatalog.h>
#include <gtest/gtest.h>

#include "host/report/report.h"
#include "host/say/failure.h"
#include "tests/host/TestFiles.h"

namespace salvor {
namespace {

using test::TempFolder;
using test::WriteFile;

std::vector<ReportedFile> FilesOf(const Folder& folder, std::int64_t damagedLines) {
    ReportReader reader(folder);
    std::vector<ReportedFile> files;
    for (ReportedFile file; reader.Next(file);) {
        files.push_back(file);
    }
    EXPECT_EQ(damagedLines, reader.DamagedLines());
    return files;
}

TEST(ReportReader, ReadsWhatIsWrittenOfAFile) {
    PlannedFile planned;
    planned.extents = {{40, 1024}, {90, 1000}};
    planned.finding = {Verdict::Damaged, 2024, FileTypeIndex::Png, "", "breaks \"here\"\n"};
    planned.reported = {{FileTypeIndex::Png, 2000}, {FileTypeIndex::Text, 2100}};
    planned.path = "png/f0000000040.png";
    planned.container = "zip/\\\".zip";
    planned.embedded = {{42, {Verdict::Whole, 300, FileTypeIndex::Text}}};
    planned.atSizeCap = true;
    planned.details.title = "\"t\"";
    KnownFile known;
    known.path = "a\\\"\x01\xC3\xA4\xFF";
    known.times.created = 0;
    const std::string line = FileLine(planned, {WriteOutcome::Written, "abcd", 512, ""}, 512, &known);

    const Json record = Json::parse(line);
    EXPECT_EQ(JsonLine(record), line);
    EXPECT_EQ("a\\\"\x01\xC3\xA4\xEF\xBF\xBD", record["file_system"]["path"]);
    EXPECT_EQ("1970-01-01T00:00:00Z", record["file_system"]["created"]);
    EXPECT_EQ("\"t\"", record["details"]["title"]);
    const auto file = FileOfRecord(record);
    ASSERT_TRUE(file);
    EXPECT_EQ(planned.path, file->path);
    EXPECT_EQ(planned.extents, file->extents);
    EXPECT_EQ(planned.Types(), file->types);
    EXPECT_EQ(40 * 512, file->startByte);
    EXPECT_EQ(2000, file->reportedSize);
    EXPECT_EQ(512, file->unreadableBytes);
    EXPECT_EQ("abcd", file->sha256);
    EXPECT_EQ((std::vector<std::string>{"size cap reached", "unreadable sectors"}), file->flags);
    EXPECT_EQ(planned.container, file->container);
    ASSERT_EQ(1U, file->embedded.size());
    EXPECT_EQ(300, file->embedded[0].size);
}

TEST(ReportReader, TheLastLineOfAPathHoldsAndDamageCostsOnlyItsLines) {
    const auto line = [](const std::string& path, int size) {
        return R"({"record":"file","path":")" + path +
               R"(","types":[{"index":1}],"start_sector":8,"start_byte":4096,)" + R"("size":)" + std::to_string(size) +
               R"(,"verdict":"whole"})" + "\n";
    };
    const TempFolder temp;
    WriteFile(temp / "report.jsonl", line("a", 1) + line("a\\\"b", 2) + "{\"record\":\"file\",\"path\":\n" + "[1]\n\n" +
                                         line("a", 3) + line("c", -1) + line("a\\\"b", 5).substr(0, 60));
    WriteFile(temp / "job.json", R"({"image":"card.img","image_size":4096,"sector_size":4096})"
                                 "\n");
    const Folder folder = OpenReportFolder(temp.Path().string());
    // A line that was cut replaces no other.
    const std::vector<ReportedFile> files = FilesOf(folder, 5);
    ASSERT_EQ(2U, files.size());
    EXPECT_EQ("a\"b", files[0].path);
    EXPECT_EQ(2, files[0].size);
    EXPECT_EQ("a", files[1].path);
    EXPECT_EQ(3, files[1].size);
    EXPECT_EQ("card.img", ReportReader(folder).Summary().image);
    EXPECT_EQ(4096, ReportReader(folder).Summary().sectorSize);
    EXPECT_FALSE(ReportReader(folder).Summary().isComplete);
}

TEST(ReportReader, AFolderWithoutReportIsAClearLine) {
    const TempFolder temp;
    EXPECT_THROW(OpenReportFolder((temp / "missing").string()), Failure);
    EXPECT_THROW(ReportReader(OpenReportFolder(temp.Path().string())), Failure);
}

}  // namespace
}  // namespace salvor
