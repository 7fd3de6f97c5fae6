#include "host/volumes/read_volumes.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "host/volumes/known_files.h"
#include "tests/host/volumes/FileSystemImage.h"

namespace salvor {

namespace {

using namespace test;

class FileSystems : public testing::TestWithParam<const char*> {
protected:
    void SetUp() override {
        if (const std::string missing = MakeFileSystem(folder, GetParam()); !missing.empty()) {
            GTEST_SKIP() << "needs " << missing;
        }
        image = ReadFile(folder / "image");
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
    Medium medium(std::make_unique<FakeDevice>(image), 512);
    const Knowledge knowledge = Learn(medium);
    ASSERT_EQ(knowledge.volumes.size(), 1U);
    EXPECT_EQ(knowledge.volumes[0].fileSystem, GetParam());
    for (const std::string name : {"gone", "kept", "pieces"}) {
        const KnownFile* const file = Named(knowledge, name);
        ASSERT_NE(file, nullptr) << name;
        EXPECT_TRUE(file->isComplete) << name;
        EXPECT_EQ(Join(medium, file->extents), ReadFile(folder / name)) << name;
        EXPECT_TRUE(file->times.modified) << name;
        const bool isUsed = std::ranges::all_of(
            file->extents, [&](const Extent& extent) { return knowledge.used.Contains(extent.startSector); });
        const bool isDeleted = name == "gone" && GetParam() != std::string("NTFS");
        EXPECT_EQ(file->isDeleted, isDeleted) << name;
        EXPECT_EQ(isUsed, !isDeleted) << name;
    }
    if (GetParam() != std::string("NTFS")) {
        EXPECT_GT(Named(knowledge, "pieces")->extents.size(), 1U);
    }
}

// What a damaged one says is an answer, too: the process that reads it is boxed, but here it is this one.
TEST_P(FileSystems, AreReadInBoundsWhenTheyAreDamaged) {
    std::uint32_t seed = 1;
    for (int round = 0; round < 40; ++round) {
        Bytes damaged = image;
        const Bytes numbers = Pattern(64, ++seed);
        for (std::size_t i = 0; i + 4 <= numbers.size(); i += 4) {
            // Most of what a file system says stands at its start.
            const std::size_t range = i % 8 == 0 ? damaged.size() : std::size_t{64} << 10U;
            damaged[(numbers[i] * 65536U + numbers[i + 1] * 256U + numbers[i + 2]) % range] = numbers[i + 3];
        }
        Medium medium(std::make_unique<FakeDevice>(damaged), 512);
        const Knowledge knowledge = Learn(medium);
        const KnownFiles files(knowledge.files, knowledge.used, 512);
        EXPECT_LE(files.All().size(), knowledge.files.size());
    }
}

INSTANTIATE_TEST_SUITE_P(All, FileSystems, testing::ValuesIn(FileSystemKinds),
                         [](const auto& kind) { return std::string(kind.param); });

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
