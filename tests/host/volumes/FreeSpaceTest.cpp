#include "host/volumes/free_space.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "host/medium/rescue_map.h"
#include "tests/host/Program.h"
#include "tests/host/volumes/FileSystemImage.h"

namespace salvor {

namespace {

using namespace test;
using nlohmann::json;

std::vector<Extent> PiecesOf(const Space& space) {
    std::vector<Extent> pieces;
    for (std::size_t i = 0; i < space.PieceCount(); ++i) {
        pieces.push_back(space.PieceAt(i));
    }
    return pieces;
}

TEST(FreeSpace, JoinsWhatIsFreeInOneVolumeAndNothingElse) {
    constexpr std::int64_t gap = Space::Gap;
    Medium medium(std::make_unique<FakeDevice>(Bytes(4000 * 512 + 100)), 512);
    Knowledge knowledge;
    knowledge.volumes = {{1, {100, 1000}, "", "FAT16", true, 512}, {2, {1100, 900}, "", "ext2", true, 512}};
    // Some overlap, and one extends across the border of two volumes.
    knowledge.used = {{1050, 100}, {100, 200}, {250, 100}, {500, 8}};
    // Part of the first is in use by no file, and the last is listed twice.
    knowledge.slack = {{345, 10}, {505, 3}, {505, 3}};
    const auto space = SpaceOf(knowledge, SpaceKind::FreeAndSlack, {0, 4001}, medium);
    // The 700 sectors of the first volume begin at 128, those of the second at 896.
    const std::vector<Extent> expected{{0, 100 * 512},   {gap, 28 * 512},   {350, 150 * 512}, {508, 542 * 512},
                                       {gap, 76 * 512},  {1150, 850 * 512}, {gap, 46 * 512},  {2000, 2000 * 512 + 100},
                                       {gap, 412 + 512}, {345, 5 * 512},    {gap, 512},       {505, 3 * 512}};
    EXPECT_EQ(PiecesOf(*space), expected);
    EXPECT_EQ(space->RoomFrom(277), 543 * 512);
    EXPECT_EQ(space->RoomFrom(1792), 2000 * 512 + 100);
    EXPECT_EQ(space->ExtentsOnMedium(270, 20 * 512 + 7), (std::vector<Extent>{{492, 8 * 512}, {508, 12 * 512 + 7}}));

    const auto again = Space::FromBytes(space->Bytes());
    EXPECT_EQ(PiecesOf(*again), expected);
    const SpaceIndex index(*again);
    std::size_t found = 0;
    for (std::int64_t sector = 0; sector < medium.SectorCount(); ++sector) {
        const SectorRange there = index.StretchAt({sector, 1});
        found += static_cast<std::size_t>(there.count);
        EXPECT_TRUE(there.count == 0 || again->OnMedium(there.first) == sector) << sector;
    }
    EXPECT_EQ(found, 100U + 150 + 542 + 850 + 2001 + 5 + 3);
    EXPECT_EQ(again->OnMedium(index.InSpace({{480, 100}})), (std::vector<SectorRange>{{480, 20}, {505, 75}}));

    KnownFile file;
    file.isDeleted = file.isComplete = true;
    file.extents = {{490, 10 * 512}, {508, 1000}};
    KnownFile lost = file;
    lost.extents[0].bytes = 20 * 512;
    KnownFile living = file;
    living.isDeleted = false;
    const std::vector<KnownFile> known = FilesInSpace({file, lost, living}, *space);
    ASSERT_EQ(known.size(), 2U);
    EXPECT_EQ(known[0].extents, (std::vector<Extent>{{268, 10 * 512 + 1000}}));
    EXPECT_TRUE(known[0].isComplete);
    EXPECT_FALSE(known[1].isComplete);
}

class FreeSpaceOf : public testing::TestWithParam<const char*> {
protected:
    // A deleted photo in pieces before, between and after living files.
    void SetUp() override {
        const std::string missing =
            MakeFileSystem(folder, GetParam(), {{"pieces", photo}, {"filler", Bytes(100000, 'x')}, {"kept", kept}},
                           "put filler\nremove pieces\n");
        if (!missing.empty()) {
            GTEST_SKIP() << "needs " << missing;
        }
        image = ReadFile(folder / "image");
    }

    std::string Path(const std::string& name) const { return Quoted(folder / name); }

    json FileIn(const std::string& out, const std::string& extension) const {
        for (const json& record : ReadLines(folder / out / "report.jsonl")) {
            if (record["record"] == "file" && record["extension"] == extension) {
                return record;
            }
        }
        return json::object();
    }

    std::vector<json> RecordsOf(const std::string& file, const char* kind) const {
        std::vector<json> records = ReadLines(folder / file);
        std::erase_if(records, [kind](const json& record) { return record["record"] != kind; });
        return records;
    }

    TempFolder folder;
    const Bytes photo = Fixture("jfif-baseline.jpg");
    const Bytes kept = Fixture("text.png");
    Bytes image;
};

TEST_P(FreeSpaceOf, HasDeletedFilesWholeThatLivingOnesInterrupt) {
    const std::string recover = "recover " + Path("image") + " --quiet --no-file-system --out ";
    EXPECT_EQ(RunProgram(recover + Path("all")).status, 0);
    EXPECT_NE(FileIn("all", "jpg").value("verdict", ""), "whole");
    EXPECT_EQ(FileIn("all", "png").value("verdict", ""), "whole");

    EXPECT_EQ(RunProgram(recover + Path("free") + " --space free").status, 0);
    const json file = FileIn("free", "jpg");
    ASSERT_EQ(file.value("verdict", ""), "whole") << file;
    EXPECT_EQ(ReadFile(folder / "free" / file["path"].get<std::string>()), photo);
    // Translated to places in the image.
    Bytes joined;
    for (const json& extent : file["extents"]) {
        const auto from = image.begin() + extent["start_sector"].get<std::ptrdiff_t>() * 512;
        joined.insert(joined.end(), from, from + extent["bytes"].get<std::ptrdiff_t>());
    }
    EXPECT_EQ(joined, photo);
    EXPECT_EQ(file["start_sector"], file["extents"][0]["start_sector"]);
    EXPECT_EQ(file["path"], fmt::format("jpg/f{:010}.jpg", file["start_sector"].get<int>()));
    EXPECT_TRUE(FileIn("free", "png").empty());

    // What the file system knows of deleted files is used here too.
    EXPECT_EQ(RunProgram("recover " + Path("image") + " --quiet --space free --out " + Path("known")).status, 0);
    EXPECT_EQ(FileIn("known", "jpg")["extents"], file["extents"]);
    EXPECT_EQ(FileIn("known", "jpg")["file_system"]["deleted"], true);
}

TEST_P(FreeSpaceOf, IsTheSameForAllWhoScanItAndForWhatGoesOnFromThere) {
    const std::string scan = "scan " + Path("image") + " --quiet --block-size 64K --exclude txt --space free ";
    const ProgramRun one = RunProgram(scan + "--report -");
    EXPECT_EQ(one.status, 0) << one.errors;
    WriteFile(folder / "one", one.output);
    const std::vector<json> finds = RecordsOf("one", "find");
    const std::string header = RecordsOf("one", "header")[0]["space"].dump();
    ASSERT_FALSE(finds.empty());
    EXPECT_EQ(RunProgram(scan + "--jobs 3 --report " + Path("three")).status, 0);
    EXPECT_EQ(RecordsOf("three", "find"), finds);
    for (const char* piece : {"2/2", "1/2"}) {
        EXPECT_EQ(RunProgram(scan + "--job " + Path("job") + " --segment " + piece).status, 0);
    }
    const ProgramRun other = RunProgram("scan " + Path("image") + " --space free+slack --job " + Path("job"));
    EXPECT_NE(other.errors.find("begun with --space free"), std::string::npos) << other.errors;
    EXPECT_EQ(RunProgram("merge --quiet " + Path("job")).status, 0);
    EXPECT_EQ(RecordsOf("job/finds.jsonl", "find"), finds);
    EXPECT_EQ(RecordsOf("job/finds.jsonl", "header")[0]["space"].dump(), header);

    EXPECT_EQ(RunProgram("extract " + Path("one") + " --no-file-system --quiet --out " + Path("out")).status, 0);
    const json file = FileIn("out", "jpg");
    EXPECT_EQ(file.value("verdict", ""), "whole");
    EXPECT_EQ(RunProgram("validate --quiet " + Path("job")).status, 0);
    const ProgramRun list = RunProgram("list --json --types jpg " + Path("job"));
    EXPECT_EQ(json::parse(list.output).value("extents", json()), file["extents"]);

    // A changed list of pieces does not match the scan.
    std::string damaged = one.output;
    char& digit = damaged[damaged.find("[[") + 2];
    digit = digit == '1' ? '2' : '1';
    WriteFile(folder / "damaged", damaged);
    EXPECT_EQ(RunProgram("extract " + Path("damaged") + " --out " + Path("none")).status, 3);
    EXPECT_EQ(RunProgram(scan + "--start 5 --report -").status, 2);
}

// A sector of the photo's last piece has not been rescued.
TEST_P(FreeSpaceOf, TellsPlacesOfTheMediumOfWhateverFormatTheImageIs) {
    EXPECT_EQ(RunProgram("recover " + Path("image") + " --quiet --space free --out " + Path("sound")).status, 0);
    const json extents = FileIn("sound", "jpg")["extents"];
    ASSERT_GT(extents.size(), 1U);
    const std::int64_t missing = (extents.back()["start_sector"].get<std::int64_t>() + 3) * 512;
    const auto size = std::ssize(image);
    WriteFile(folder / "map", MapOfAreas({{0, missing}, {missing + 512, size - missing - 512}}, size));
    std::size_t formats = 0;
    for (const auto& [name, make] : {std::pair("image", "true"),
                                     {"i.E01", "ewfacquire -q -u -t i image"},
                                     {"i.qcow2", "qemu-img convert -O qcow2 image i.qcow2"}}) {
        if (!RunScript(folder, make)) {
            continue;
        }
        SCOPED_TRACE(name);
        ++formats;
        const std::string out = std::string("out-") + name;
        EXPECT_EQ(
            RunProgram("recover " + Path(name) + " --map " + Path("map") + " --quiet --space free --out " + Path(out))
                .status,
            1);
        const json file = FileIn(out, "jpg");
        EXPECT_EQ(file["extents"], extents);
        EXPECT_EQ(file["unreadable_bytes"], 512);
        EXPECT_NE(file["verdict"], "whole");
        EXPECT_EQ(
            RunProgram("export-map " + Path(out + "/finds.jsonl") + " --quiet --out " + Path(out + ".map")).status, 0);
        const Bytes map = ReadFile(folder / (out + ".map"));
        EXPECT_EQ(RescuedAreas(std::string(map.begin(), map.end())), (std::vector<ByteRange>{{missing, 512}}));
        for (const char* from : {"", "/finds.jsonl"}) {
            const ProgramRun list = RunProgram("list --json --types jpg " + Path(out + from));
            EXPECT_EQ(json::parse(list.output).value("extents", json()), extents);
        }
        const std::string path = file["path"];
        EXPECT_EQ(WhileMounted(folder, out + "/finds.jsonl", "cmp seen/type/" + path + " " + out + "/" + path), 0);
        const std::string dfxml = RunProgram("report --format dfxml --out - " + Path(out)).output;
        for (const json& extent : extents) {
            const std::int64_t offset = extent["start_sector"].get<std::int64_t>() * 512;
            EXPECT_NE(dfxml.find(fmt::format("img_offset=\"{}\"", offset)), std::string::npos) << dfxml;
        }
        std::filesystem::remove_all(folder / "seen");
    }
    EXPECT_GT(formats, 0U);
}

// A file in the slack of a living file's last cluster.
TEST_P(FreeSpaceOf, HasSlackWhereThatIsAskedFor) {
    if (GetParam() == std::string("FAT32")) {
        GTEST_SKIP() << "a cluster of a sector has no slack";
    }
    const Bytes tail(kept.end() - 64, kept.end());
    const auto end = std::search(image.begin(), image.end(), tail.begin(), tail.end()) - image.begin() + 64;
    const auto sector = (end + 511) / 512;
    const Bytes small = Fixture("still87.gif");
    ASSERT_LE(sector * 512 + std::ssize(small), (end + 4095) / 4096 * 4096);
    std::ranges::copy(small, image.begin() + sector * 512);
    WriteFile(folder / "image", image);
    for (const auto& [space, count] : {std::pair("free", 0U), {"free+slack", 1U}}) {
        EXPECT_EQ(
            RunProgram("recover " + Path("image") + " --quiet --types gif --space " + space + " --out " + Path(space))
                .status,
            0);
        const std::vector<json> files = RecordsOf(std::string(space) + "/report.jsonl", "file");
        ASSERT_EQ(files.size(), count) << space;
        EXPECT_TRUE(files.empty() || files[0]["start_sector"] == sector);
    }
}

INSTANTIATE_TEST_SUITE_P(All, FreeSpaceOf, testing::Values("FAT32", "ext4"),
                         [](const auto& kind) { return std::string(kind.param); });

}  // namespace

}  // namespace salvor
