#include "host/report/folder_report.h"

#include <FileTypeCatalog.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include "host/records/line_log.h"
#include "tests/host/TestFiles.h"

namespace salvor {

namespace {

constexpr int NoDisk = 77;
constexpr std::int64_t Files = 200;

Json RecordOf(std::int64_t startSector) {
    PlannedFile file;
    file.extents = {{startSector, 1}};
    file.finding = {Verdict::Open, 1, FileTypeIndex::Png, {}, "a file"};
    file.path = "png/f" + std::to_string(startSector) + ".png";
    return FileRecord(file, WriteResult(), 512);
}

// A disk of 256 KiB that only this process sees, full but for the report's room.
int ReportOnFullDisk(const std::filesystem::path& place) {
    if (unshare(CLONE_NEWNS) != 0 || mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        mount("none", place.c_str(), "tmpfs", 0, "size=256k") != 0) {
        return NoDisk;
    }
    const Folder folder = Folder::Open(place);
    FolderReport report(folder, true);
    report.KeepRoom(Files * 640);
    File filler = folder.Create("filler");
    const std::vector<char> bytes(4096);
    while (filler.Write(bytes.data(), bytes.size())) {
    }
    for (std::int64_t sector = 0; sector < Files; ++sector) {
        report.Add(RecordOf(sector));
    }
    report.Finish([](const FolderCounts& /*earlier*/) { return Json{{"record", "summary"}}; });
    File written = folder.Read("report.jsonl");
    LineReader lines(written);
    std::int64_t count = 0;
    for (std::string line; lines.Next(line) && !lines.WasCut();) {
        ++count;
    }
    return filler.Error().IsDiskFull() && count == Files + 1 ? 0 : 1;
}

TEST(FolderReport, HasRoomWhereFilesHaveFilledTheDisk) {
    const test::TempFolder folder;
    const pid_t child = fork();
    if (child == 0) {
        _exit(ReportOnFullDisk(folder.Path()));
    }
    int status = 0;
    waitpid(child, &status, 0);
    if (WIFEXITED(status) && WEXITSTATUS(status) == NoDisk) {
        GTEST_SKIP() << "needs the right to mount a disk";
    }
    EXPECT_EQ(status, 0);
}

}  // namespace

}  // namespace salvor
