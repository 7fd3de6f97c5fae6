#include "host/files/extract_run.h"

#include <FileTypeCatalog.h>
#include <gtest/gtest.h>

#include "tests/host/TestFiles.h"
#include "tests/host/TiffBuilder.h"

namespace salvor {

namespace {

using nlohmann::json;
using test::Bytes;

TEST(ExtractFiles, SaysWhereASizeComesFromAndFiltersByIt) {
    constexpr std::int32_t png = FileTypeIndex::Png;
    constexpr std::int32_t rdc = FileTypeIndex::Rdc;
    constexpr std::int32_t tif = FileTypeIndex::Tiff;
    test::TiffBuilder tiff(ByteOrder::Little);
    Bytes image = tiff.Finish(tiff.Add({{273, test::Long, {1000}}, {279, test::Long, {3000}}}));
    image.resize(100 * 512 + 7);
    const std::vector<Find> finds{{tif, 0, 0}, {rdc, 10, 0}, {png, 20, 600}, {rdc, 30, 0}, {png, 40, 0}};
    const test::TempFolder folder;
    for (int run = 0; run < 2; ++run) {
        Medium medium(std::make_unique<test::FakeDevice>(image), 512);
        PlanFilter filter;
        filter.types = {png, rdc, tif};
        filter.maxSize.forAll = 30000;
        EXPECT_EQ(ExtractFiles(medium, finds, {}, filter, folder.Path(), true), ExitStatus::Done);
        json files = json::array();
        for (const json& record : test::ReadLines(folder / "report.jsonl")) {
            if (record["record"] == "file") {
                files.push_back({record["path"], record["size"], record["size_from"]});
                EXPECT_EQ(test::ReadFile(folder / record["path"]).size(), record["size"]);
            }
        }
        EXPECT_EQ(files, (json{{"tif/f0000000000.tif", 4000, "measured"},
                               {"rdc/f0000000010.rdc", 5120, "bounded"},
                               {"png/f0000000020.png", 600, "reported"}}));
        json skipped = json::array();
        for (const json& record : test::ReadLines(folder / "skipped.jsonl")) {
            skipped.push_back({record["start_sector"], record["size"]});
        }
        EXPECT_EQ(skipped, (json{{30, 70 * 512 + 7}, {40, 0}}));
    }
}

}  // namespace

}  // namespace salvor
