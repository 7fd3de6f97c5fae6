#include "host/files/out_folder.h"

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <sys/sysmacros.h>

#include "host/platform/device_facts.h"
#include "host/platform/mounts.h"
#include "host/platform/same_disk.h"
#include "host/say/failure.h"
#include "tests/host/TestFiles.h"

namespace salvor {

namespace {

namespace fs = std::filesystem;
using test::TempFolder;

ExitStatus StatusOf(const fs::path& folder, FolderUse use, const JobIdentity& job) {
    try {
        PrepareOutFolder(folder, job, {{job.imagePath}, ""}, use);
        return ExitStatus::Done;
    } catch (const Failure& failure) {
        EXPECT_NE(std::string(failure.what()).find(folder.string()), std::string::npos);
        return failure.Status();
    }
}

TEST(OutFolder, TakesNewAndEmptyOnesAndGoesOnOnlyWithTheSameJob) {
    const TempFolder temp;
    const JobIdentity job{"/images/card.img", 1000, 512};
    const JobIdentity otherImage{"/images/other.img", 1000, 512};
    EXPECT_EQ(StatusOf(temp / "new/deep", FolderUse::New, job), ExitStatus::Done);
    fs::create_directories(temp / "mounted/lost+found");
    EXPECT_EQ(StatusOf(temp / "mounted", FolderUse::New, job), ExitStatus::Done);

    EXPECT_EQ(StatusOf(temp / "new/deep", FolderUse::New, job), ExitStatus::Usage);
    EXPECT_EQ(StatusOf(temp / "new/deep", FolderUse::GoOn, job), ExitStatus::Done);
    EXPECT_EQ(StatusOf(temp / "new/deep", FolderUse::GoOn, otherImage), ExitStatus::Usage);
    EXPECT_EQ(StatusOf(temp / "new/deep", FolderUse::Overwrite, otherImage), ExitStatus::Done);
    EXPECT_EQ(StatusOf(temp / "new/deep", FolderUse::GoOn, job), ExitStatus::Usage);

    fs::create_directory(temp / "full");
    test::WriteFile(temp / "full/letter.txt", std::string("mine"));
    EXPECT_EQ(StatusOf(temp / "full", FolderUse::GoOn, job), ExitStatus::Usage);
    EXPECT_EQ(StatusOf(temp / "full/letter.txt", FolderUse::New, job), ExitStatus::NotStarted);
    EXPECT_EQ(StatusOf(temp / "full", FolderUse::Overwrite, job), ExitStatus::Done);
}

// A made-up folder of the system's block devices.
class BlockDevices {
public:
    std::uint64_t Add(unsigned minorNumber, const std::string& place, bool isPartition = false) {
        fs::create_directories(temp_ / ("devices/" + place + "/slaves"));
        if (isPartition) {
            test::WriteFile(temp_ / ("devices/" + place + "/partition"), std::string("1"));
        }
        fs::create_directories(Sys());
        fs::create_directory_symlink(temp_ / ("devices/" + place), Sys() / fmt::format("8:{}", minorNumber));
        return makedev(8, minorNumber);
    }
    void Stack(const std::string& upper, const std::string& lower) {
        fs::create_directory_symlink(temp_ / ("devices/" + lower),
                                     temp_ / ("devices/" + upper + "/slaves/" + fs::path(lower).filename().string()));
    }
    fs::path Sys() const { return temp_ / "sys"; }

private:
    TempFolder temp_;
};

TEST(OutFolder, KnowsFileSystemsThatRestOnADevice) {
    BlockDevices devices;
    const auto disk = devices.Add(0, "sda");
    const auto partition = devices.Add(1, "sda/sda1", true);
    const auto otherPartition = devices.Add(2, "sda/sda2", true);
    const auto otherDisk = devices.Add(16, "sdb");
    devices.Add(32, "dm-0");
    const auto volume = devices.Add(33, "dm-1");
    devices.Stack("dm-0", "sda/sda2");
    devices.Stack("dm-1", "dm-0");
    const auto onDevice = [&](std::uint64_t folder, std::uint64_t image) {
        return IsOnDevice(folder, image, devices.Sys());
    };
    EXPECT_TRUE(onDevice(partition, disk));
    EXPECT_TRUE(onDevice(disk, disk));
    EXPECT_TRUE(onDevice(partition, otherPartition)) << "one disk, whose map of sectors may be wrong";
    EXPECT_TRUE(onDevice(volume, disk));
    EXPECT_FALSE(onDevice(otherDisk, disk));
    EXPECT_FALSE(onDevice(partition, otherDisk));
    EXPECT_FALSE(onDevice(makedev(0, 40), disk)) << "no block device at all, as a file system in memory";
    // Stacks that lead back to themselves must end.
    devices.Stack("sdb", "dm-1");
    devices.Stack("dm-0", "sdb");
    EXPECT_FALSE(onDevice(otherDisk, makedev(8, 99)));
}

TEST(Mounts, AreThoseOfTheDeviceAndItsPartsThatMayBeWritten) {
    BlockDevices devices;
    const auto disk = devices.Add(0, "sda");
    const auto mounted = devices.Add(1, "sda/sda1", true);
    const auto other = devices.Add(2, "sda/sda2", true);
    devices.Add(32, "dm-0");
    devices.Stack("dm-0", "sda/sda2");
    const std::string table =
        "36 35 8:1 / /media/a\\040card rw,noatime shared:1 master:2 - vfat /dev/sda1 rw,uid=1000\n"
        "37 35 8:1 / /media/b ro,noatime - vfat /dev/sda1 ro\n"
        "38 35 8:32 / /media/volume rw - ext4 /dev/dm-0 rw\n"
        "39 35 0:40 / /run rw - tmpfs none rw\n"
        "cut\n";
    using Places = std::vector<std::string>;
    EXPECT_EQ(MountedForWriting(disk, table, devices.Sys()), (Places{"/media/a card", "/media/volume"}));
    EXPECT_EQ(MountedForWriting(mounted, table, devices.Sys()), (Places{"/media/a card"}));
    EXPECT_EQ(MountedForWriting(other, table, devices.Sys()), (Places{"/media/volume"}));
    EXPECT_EQ(MountedForWriting(devices.Add(16, "sdb"), table, devices.Sys()), Places());

    fs::create_directories(devices.Sys() / "8:0/device");
    test::WriteFile(devices.Sys() / "8:0/device/model", std::string(" Card reader  \n"));
    test::WriteFile(devices.Sys() / "8:0/serial", std::string("0815\n"));
    EXPECT_EQ(FactsInFolder(fs::canonical(devices.Sys() / "8:1")), (DeviceFacts{"Card reader", "0815"}));
}

}  // namespace

}  // namespace salvor
