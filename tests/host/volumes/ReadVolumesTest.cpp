#include "host/volumes/read_volumes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <string_view>

#include "host/medium/open_image.h"
#include "host/volumes/free_space.h"
#include "host/volumes/learn.h"
#include "host/volumes/volume_grids.h"
#include "tests/host/volumes/FileSystemImage.h"

namespace salvor {

namespace {

using namespace test;

class FileSystems : public testing::TestWithParam<const char*> {
protected:
    void SetUp() override {
        if (const std::string missing = MakeFileSystem(folder, GetParam(), {{"kept", SoundWithSilence()}});
            !missing.empty()) {
            GTEST_SKIP() << "needs " << missing;
        }
        image = ReadFile(folder / "image");
    }

    static bool CanRemove() {
        constexpr std::array kinds{"FAT16", "FAT32", "ext2", "ext4"};
        return std::ranges::find(kinds, std::string_view(GetParam())) != kinds.end();
    }

    const KnownFile* Named(const Knowledge& knowledge, const std::string& name) const {
        const auto found = std::ranges::find_if(
            knowledge.files, [&](const KnownFile& file) { return file.path.ends_with(name.substr(1)); });
        return found == knowledge.files.end() ? nullptr : &*found;
    }

    TempFolder folder;
    Bytes image;
};

TEST_P(FileSystems, TellWhereLivingAndDeletedFilesLie) {
    ScanMedium scanned(std::make_unique<Medium>(std::make_unique<FakeDevice>(image), 512));
    Medium& medium = scanned.Image();
    const Knowledge knowledge = Learn(medium);
    ASSERT_EQ(knowledge.volumes.size(), 1U);
    const std::vector<GridStretch> grids = GridsOf(knowledge.volumes, scanned);
    ASSERT_EQ(grids.size(), 1U);
    EXPECT_EQ(knowledge.volumes[0].fileSystem, GetParam() == std::string("ISO9660") ? "ISO 9660" : GetParam());
    const SectorRangeSet used = SetOf(knowledge.used);
    for (const std::string name : {"gone", "kept", "pieces"}) {
        const KnownFile* const file = Named(knowledge, name);
        ASSERT_NE(file, nullptr) << name;
        EXPECT_TRUE(file->isComplete) << name;
        EXPECT_EQ(Join(medium, file->extents), ReadFile(folder / name)) << name;
        EXPECT_NE(file->times, FileTimes()) << name;
        const bool isUsed = std::ranges::all_of(
            file->extents, [&](const Extent& extent) { return extent.IsHole() || used.Contains(extent.startSector); });
        const bool isDeleted = name == "gone" && CanRemove();
        EXPECT_EQ(file->isDeleted, isDeleted) << name;
        EXPECT_EQ(isUsed, !isDeleted) << name;
        EXPECT_TRUE(grids[0].grid.Holds(file->StartSector())) << name;
    }
    if (CanRemove()) {
        scanned.Join(SpaceOf(knowledge, SpaceKind::Free, {0, medium.SectorCount()}, medium));
        for (const KnownFile& file : FilesInSpace(knowledge.files, *scanned.Joins())) {
            const ClusterGrids inSpace(GridsOf(knowledge.volumes, scanned), {}, 512);
            EXPECT_EQ(inSpace.At(file.StartSector()).sectorsPerCluster, grids[0].grid.sectorsPerCluster) << file.path;
            EXPECT_TRUE(inSpace.At(file.StartSector()).Holds(file.StartSector())) << file.path;
        }
        EXPECT_GT(Named(knowledge, "pieces")->extents.size(), 1U);
        const bool hasHoles = std::ranges::any_of(Named(knowledge, "kept")->extents, &Extent::IsHole);
        EXPECT_EQ(hasHoles, GetParam() == std::string("ext2") || GetParam() == std::string("ext4"));
    }
}

// Each page of 2048 bytes is followed by 64 bytes about it: the block's sequence number, the object, the number of the
// page in the object, and the bytes in use.
TEST(Yaffs, IsNamedAndCarvedAsAStream) {
    Bytes image;
    std::uint32_t pages = 0;
    const auto put = [&](std::uint32_t object, std::uint32_t page, Bytes content) {
        const std::array<std::uint32_t, 4> tags{0x1000 + pages++ / 64, object, page, page == 0 ? 0U : 2048U};
        content.resize(2048 + 64, 0xFF);
        std::memcpy(content.data() + 2048, tags.data(), sizeof(tags));
        image.insert(image.end(), content.begin(), content.end());
    };
    // What an object is, its folder, no checksum, and the name.
    const auto putHead = [&](std::uint32_t object, std::uint8_t kind, std::uint8_t letter) {
        Bytes head{kind, 0, 0, 0, 1, 0, 0, 0, 0xFF, 0xFF, letter};
        head.resize(268);
        put(object, 0, head);
    };
    putHead(1, 3, 0);
    for (std::uint32_t object = 257; object < 272; ++object) {
        for (std::uint32_t page = 1; page < 10; ++page) {
            put(object, page, Pattern(2048, pages));
        }
        putHead(object, 1, static_cast<std::uint8_t>('a' + object % 26));
    }
    image.resize(std::size_t{256} * (2048 + 64), 0xFF);
    Medium medium(std::make_unique<FakeDevice>(image), 512);
    const Knowledge knowledge = Learn(medium);
    ASSERT_EQ(knowledge.volumes.size(), 1U);
    EXPECT_EQ(knowledge.volumes[0].fileSystem, "YAFFS2");
    EXPECT_EQ(knowledge.volumes[0].sectors, (SectorRange{0, medium.SectorCount()}));
    EXPECT_FALSE(knowledge.volumes[0].isReadable);
}

// The file system is read by a boxed process, and others look at what it knows. Those may crash; this process may not,
// and must stay within bounds. SALVOR_MUTATIONS gives the number of rounds.
TEST_P(FileSystems, AreReadInBoundsWhenTheyAreDamaged) {
    const char* const given = std::getenv("SALVOR_MUTATIONS");
    const int rounds = given == nullptr ? 3 : std::atoi(given);
    const std::string path = (folder / "damaged").string();
    std::chrono::duration<double> longest{};
    std::size_t files = 0;
    for (int round = 0; round < rounds; ++round) {
        Bytes damaged = image;
        const Bytes numbers = Pattern(64, static_cast<std::uint32_t>(round) + 1);
        for (std::size_t i = 0; i + 4 <= numbers.size(); i += 4) {
            // Most of a file system's structure is near its start.
            const std::size_t range = i % 8 == 0 ? damaged.size() : std::size_t{64} << 10U;
            damaged[(numbers[i] * 65536U + numbers[i + 1] * 256U + numbers[i + 2]) % range] = numbers[i + 3];
        }
        WriteFile(path, damaged);
        const auto start = std::chrono::steady_clock::now();
        const ScanMedium medium(OpenMedium({path}, 512, {}));
        Outcomes outcomes;
        const KnownFiles known =
            AskedFileSystems(medium, {{path}, {}, ""}, FilePlace(folder / "known"), {}).Improve(outcomes, {}, true);
        files += known.All().size();
        EXPECT_LE(outcomes.size(), known.All().size());
        longest = std::max<std::chrono::duration<double>>(longest, std::chrono::steady_clock::now() - start);
        std::filesystem::remove(folder / "known");
    }
    EXPECT_GT(files, 0U);
    std::cout << rounds << " mutations, " << files << " files known, " << longest.count() << " s at most\n";
}

INSTANTIATE_TEST_SUITE_P(All, FileSystems, testing::ValuesIn(FileSystemKinds),
                         [](const auto& kind) { return kind.param == std::string("HFS+") ? "HFS" : kind.param; });

TEST(PartitionTables, NameVolumesThatLieOnTheMediumWhateverTheyClaim) {
    Bytes image(4096 * 512);
    PutPartition(image, 0, 0x83, 64, 1000);
    PutPartition(image, 1, 0x8E, 500, 2000);
    PutPartition(image, 2, 0x07, 3000, 0xFFFFFF00);
    PutPartition(image, 3, 0x0C, 0xFFFFFF00, 5000);
    const auto put = [&image](std::size_t sector, std::size_t offset, const std::string& text) {
        std::ranges::copy(text, image.begin() + static_cast<std::ptrdiff_t>(sector * 512 + offset));
    };
    put(64, 0, "LUKS\xBA\xBE");
    put(501, 24, "LVM2 001");
    put(3000, 3, "-FVE-FS-");
    Medium medium(std::make_unique<FakeDevice>(image), 512);
    const Knowledge knowledge = Learn(medium);
    ASSERT_EQ(knowledge.volumes.size(), 3U);
    const auto is = [&](std::size_t i, SectorRange sectors, const char* fileSystem) {
        const Volume& volume = knowledge.volumes[i];
        EXPECT_EQ(volume.sectors, sectors) << i;
        EXPECT_EQ(volume.fileSystem, fileSystem) << i;
        EXPECT_FALSE(volume.isReadable) << i;
    };
    is(0, {64, 1000}, "LUKS");
    is(1, {500, 2000}, "LVM");
    is(2, {3000, 1096}, "BitLocker");
}

}  // namespace

}  // namespace salvor
