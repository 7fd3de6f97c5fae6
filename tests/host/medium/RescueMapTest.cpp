#include "host/medium/rescue_map.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>

#include "tests/host/Program.h"

namespace salvor {

namespace {

using namespace test;

using Areas = std::vector<ByteRange>;
using Sectors = std::vector<SectorRange>;

TEST(RescueMap, TellsWhatHasBeenRead) {
    const std::string map =
        "# Mapfile. Created by GNU ddrescue version 1.27\r\n"
        "\n"
        "0x00000400 ? 1\n"
        "# pos size status\n"
        "0x00000000  0x00000200  +\n"
        "0x00000200  0x00000201  *\n"
        "1025 511 +\n"
        "03000 0x200 /\n"
        "0x00000800  0x00000400  -\n"
        "0x00000C00  0x00010000  +";
    const Areas read = RescuedAreas(map);
    EXPECT_EQ(read, (Areas{{0, 0x200}, {1025, 511}, {0xC00, 0x10000}}));
    // A sector with a missing byte is missing, and so is everything that the map does not mention.
    EXPECT_EQ(SectorsOutside(read, 0x1000, 512), (Sectors{{1, 5}}));
    EXPECT_EQ(SectorsOutside(read, 0x10C00 + 513, 512), (Sectors{{1, 5}, {134, 2}}));
    EXPECT_EQ(SectorsOutside(read, 700, 4096), (Sectors{{0, 1}}));
    EXPECT_EQ(SectorsOutside({}, 700, 512), (Sectors{{0, 2}}));

    EXPECT_EQ(RescuedAreas(MapOfAreas(read, 0x20000)), read);
    for (const std::string wrong : {"", "# only\n", "0x0 0x200 +\n", "0 ? 1\n0 0x200 x\n", "0 ? 1\n512 1 +\n0 1 +\n",
                                    "0 ? 1\n0 0xFFFFFFFFFFFFFFFF +\n", "0 ? 1\n-1 1 +\n", "0 ? 1\n0 1\n", "\x89PNG"}) {
        EXPECT_THROW(RescuedAreas(wrong), std::invalid_argument) << wrong;
    }
}

TEST(RescueMap, KeepsTheProgramAwayAndNamesWhatToReadNext) {
    const TempFolder folder;
    const Bytes picture = Fixture("rgb8.png");
    Bytes image(100 * 512);
    image.insert(image.end(), picture.begin(), picture.end());
    image.resize((image.size() / 512 + 200) * 512);
    WriteFile(folder / "card.img", image);
    // Parts of the picture and of the empty area, which must stay unknown although there are bytes.
    const std::int64_t missing = 105 * 512;
    const auto size = static_cast<std::int64_t>(image.size());
    WriteFile(folder / "card.map", MapOfAreas({{0, missing}, {missing + 1000, size - missing - 20000}}, size));

    const std::string in = "cd " + Quoted(folder.Path()) + " &&";
    EXPECT_EQ(RunProgram("recover card.img --map card.map --out out --quiet", in).status, 1);
    const auto records = ReadLines(folder / "out/report.jsonl");
    const auto file = std::ranges::find_if(records, [](const auto& record) { return record.contains("path"); });
    ASSERT_NE(file, records.end());
    EXPECT_EQ(file->at("unreadable_bytes"), 1024);
    EXPECT_NE(file->at("verdict"), "whole");

    const ProgramRun exported = RunProgram("export-map out/finds.jsonl --out next.map --quiet", in);
    EXPECT_EQ(exported.status, 0) << exported.errors;
    const Bytes text = ReadFile(folder / "next.map");
    EXPECT_EQ(RescuedAreas(std::string(text.begin(), text.end())), (Areas{{missing, 1024}}));

    // The rescue has gone on since; the map from the scan no longer counts.
    WriteFile(folder / "card.map", MapOfAreas({{0, size}}, size));
    EXPECT_EQ(RunProgram("extract out/finds.jsonl --map card.map --out out --quiet", in).status, 0);
    EXPECT_EQ(ReadFile(folder / "out/png/f0000000100.png"), picture);
}

TEST(RescueMap, IsThatOfTheRescueToolInBothDirections) {
    const TempFolder folder;
    const std::string in = "cd " + Quoted(folder.Path()) + " && ";
    const auto run = [&in](const std::string& command) {
        return RunShell(in + command + " >>log 2>&1") == 0;
    };
    if (!run("command -v ddrescue")) {
        GTEST_SKIP() << "needs ddrescue";
    }
    const Bytes picture = Fixture("rgb8.png");
    Bytes card(100 * 512);
    card.insert(card.end(), picture.begin(), picture.end());
    card.resize(std::size_t{1} << 20U);
    WriteFile(folder / "card", card);
    ASSERT_TRUE(run("ddrescue -s 52KiB card copy map && ddrescue -i 53KiB card copy map"));
    EXPECT_EQ(RunProgram("recover copy --map map --out out --quiet", in).status, 1);
    EXPECT_NE(ReadFile(folder / "out/png/f0000000100.png"), picture);
    EXPECT_EQ(RunProgram("export-map out/finds.jsonl --out next --quiet", in).status, 0);
    // Only what is asked for is read.
    ASSERT_TRUE(run("ddrescue -m next card copy map"));
    EXPECT_EQ(RunProgram("extract out/finds.jsonl --map map --out out --quiet", in).status, 0);
    EXPECT_EQ(ReadFile(folder / "out/png/f0000000100.png"), picture);
}

}  // namespace

}  // namespace salvor
