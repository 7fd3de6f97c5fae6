#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <fstream>
#include <map>
#include <set>

#include "host/validators/crc32.h"
#include "tests/host/Program.h"
#include "tests/support/Numbers.h"

// Which files come back, by every way that leads to them.

namespace salvor {

namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using namespace test;
using ::test::Big;
using ::test::BytesOf;
using ::test::Join;
using ::test::Little;

bool IsTextByte(std::uint8_t byte) { return std::isprint(byte) != 0 || std::isspace(byte) != 0; }

TEST(Recover, RecoversEveryFileOfTheSampleCard) {
    const TempFolder folder;
    const ProgramRun run = RunProgram("recover " + Card + " --out " + Quoted(folder / "out"));
    ASSERT_EQ(run.status, 0) << run.errors;

    const Bytes image = ReadFile(CardImage);
    std::map<std::string, Bytes> recovered = RecoveredFiles(folder / "out");
    std::map<std::string, json> report;
    for (const json& record : ReadLines(folder / "out/report.jsonl")) {
        if (record["record"] == "file") {
            report[record["path"]] = record;
        }
    }
    EXPECT_EQ(report.size(), recovered.size());
    for (const json& file : CardFiles()) {
        const std::string extension = file["extension"];
        const std::string path = fmt::format("{0}/f{1:010}.{0}", extension, file["start_sector"].get<std::int64_t>());
        const auto begin = image.begin() + file["start_sector"].get<std::int64_t>() * 512;
        ASSERT_TRUE(recovered.contains(path)) << path;
        Bytes& bytes = recovered[path];
        EXPECT_EQ(report[path]["size"], bytes.size()) << path;
        if (file["size_is_estimated"]) {
            // The file, and at most a few sectors that follow it.
            EXPECT_LE(bytes.size(), file["size"].get<std::size_t>() + std::size_t{8} * 512) << path;
            bytes.resize(file["size"].get<std::size_t>());
        } else {
            EXPECT_EQ(report[path]["sha256"], file["sha256"]) << path;
        }
        EXPECT_EQ(bytes, Bytes(begin, begin + file["size"].get<std::int64_t>())) << path;
        EXPECT_EQ(report[path]["start_byte"], file["start_sector"].get<std::int64_t>() * 512) << path;
        recovered.erase(path);
    }
    // The rest are pieces of the text between the files.
    for (const auto& [path, bytes] : recovered) {
        const std::int64_t start = report[path]["start_byte"];
        EXPECT_EQ(report[path]["extension"], "txt") << path << " was not on the card";
        EXPECT_EQ(bytes, Bytes(image.begin() + start, image.begin() + start + std::ssize(bytes))) << path;
        EXPECT_TRUE(std::ranges::all_of(bytes, IsTextByte)) << path;
    }
    EXPECT_EQ(Summary(folder / "out")["files"], report.size());
    EXPECT_EQ(Summary(folder / "out")["ended"], "complete");
}

TEST(Recover, ScanAndExtractGiveWhatRecoverGives) {
    const TempFolder folder;
    const std::string filter = " --types jpg,png --exclude 41 --min-size 15K --max-size png=28500 ";
    ASSERT_EQ(RunProgram("recover " + Card + filter + "--out " + Quoted(folder / "recover")).status, 0);
    ASSERT_EQ(RunProgram("scan " + Card + " --report " + Quoted(folder / "finds")).status, 0);
    EXPECT_EQ(FilesBelow(folder.Path()).count("finds"), 1U);
    ASSERT_EQ(RunProgram("extract " + Quoted(folder / "finds") + filter + "--out " + Quoted(folder / "extract")).status,
              0);
    const auto recovered = RecoveredFiles(folder / "recover");
    EXPECT_EQ(RecoveredFiles(folder / "extract"), recovered);
    EXPECT_GT(recovered.size(), 3U);
    EXPECT_LT(recovered.size(), FilesOnTheCard());
    for (const auto& [path, bytes] : recovered) {
        EXPECT_GE(bytes.size(), 15U * 1024);
        EXPECT_LE(bytes.size(), path.ends_with("png") ? 28500U : 1U << 20U);
    }
    for (const json& record : ReadLines(folder / "extract/skipped.jsonl")) {
        EXPECT_FALSE(record["reason"].get<std::string>().empty());
    }
}

TEST(Recover, ListsBeforeCopyingWhatExtractWrites) {
    const TempFolder folder;
    const std::string finds = Quoted(folder / "card.finds");
    ASSERT_EQ(RunProgram("scan " + Card + " --quiet --report " + finds).status, 0);
    EXPECT_EQ(RunProgram("list " + finds).status, 3);
    ASSERT_EQ(RunProgram("validate --quiet " + finds).status, 0);
    const std::string filter = " --min-size 4K --only whole --exclude jpg";
    ASSERT_EQ(RunProgram("extract " + finds + filter + " --quiet --out " + Quoted(folder / "out")).status, 0);

    const std::string planned = RunProgram("list " + finds + filter).output;
    EXPECT_EQ(planned, RunProgram("list " + Quoted(folder / "out")).output);
    const auto lines = static_cast<std::size_t>(std::ranges::count(planned, '\n'));
    EXPECT_EQ(lines, RecoveredFiles(folder / "out").size() + 1) << planned;
    EXPECT_GT(lines, 10U);
    const json first = json::parse(RunProgram("list --json " + finds + filter + " | head -1").output);
    EXPECT_EQ(first["verdict"], "whole");
}

TEST(Recover, LeavesOutCopiesAndKnownFilesAndSaysSo) {
    const TempFolder folder;
    // The card twice, so that each file has a copy.
    Bytes twice = ReadFile(CardImage);
    const Bytes once = twice;
    twice.insert(twice.end(), once.begin(), once.end());
    WriteFile(folder / "image", twice);
    const std::string recover = "recover " + Quoted(folder / "image") + " --quiet --types png,jpg --out ";
    ASSERT_EQ(RunProgram(recover + Quoted(folder / "all")).status, 0);
    const std::vector<json> all = ReadLines(folder / "all/report.jsonl");
    WriteFile(folder / "list", all[0]["sha256"].get<std::string>() + "\n");
    const std::string choice = " --unique --known " + Quoted(folder / "list");
    ASSERT_EQ(RunProgram(recover + Quoted(folder / "some") + choice).status, 0);

    const auto kept = RecoveredFiles(folder / "some").size();
    EXPECT_EQ(2 * (kept + 1), RecoveredFiles(folder / "all").size());
    const json left = Summary(folder / "some")["not_written"];
    EXPECT_EQ(left["known by its hash"], 2);
    EXPECT_EQ(left["the same bytes as another file"], kept);
    for (const json& record : ReadLines(folder / "some/skipped.jsonl")) {
        if (record.contains("same_as")) {
            EXPECT_TRUE(fs::exists(folder / "some" / record["same_as"].get<std::string>())) << record;
        }
    }
    const std::string list = RunProgram("list " + Quoted(folder / "some")).output;
    for (const char* from : {"all", "all/finds.jsonl"}) {
        const std::string chosen = RunProgram("list " + Quoted(folder / from) + " --types png,jpg" + choice).output;
        EXPECT_EQ(chosen.substr(0, list.size()), list);
        EXPECT_NE(chosen.find("left out: 2 (known by its hash)"), std::string::npos) << chosen;
    }
}

TEST(Recover, TakesGroupsOfTypesAndSizesAsItShowsThem) {
    const TempFolder folder;
    const auto count = [&](const std::string& filter) {
        const std::string out = Quoted(folder / "out");
        EXPECT_EQ(RunProgram("recover " + Card + " --quiet --out " + out + " " + filter).status, 0) << filter;
        std::set<std::string> folders;
        for (const auto& [name, bytes] : RecoveredFiles(folder / "out")) {
            folders.insert(name.substr(0, name.find('/')));
        }
        fs::remove_all(folder / "out");
        return folders;
    };
    EXPECT_EQ(count("--types mail"), (std::set<std::string>{"eml", "mht"}));
    EXPECT_EQ(count("--types JPEG --cap '10 MiB' --max-size 'photos=50174 bytes'"), std::set<std::string>{"jpg"});
    EXPECT_EQ(count("--types archives --min-size archives=2KB"), std::set<std::string>{"zip"});
}

TEST(Recover, TakesEverySectorSizeAndBlockSizeAndARange) {
    const TempFolder folder;
    int run = 0;
    const auto finds = [&](const std::string& options) {
        const fs::path report = folder / std::to_string(++run);
        EXPECT_EQ(RunProgram("scan " + Card + " --report " + Quoted(report) + " " + options).status, 0) << options;
        std::set<std::pair<std::int64_t, std::int64_t>> found;
        for (const json& line : ReadLines(report)) {
            if (line["record"] == "find") {
                found.emplace(line["start_sector"].get<std::int64_t>(), line["size"].get<std::int64_t>());
            }
        }
        return found;
    };
    const auto whole = finds(FilesOnly);
    EXPECT_EQ(whole.size(), FilesOnTheCard());
    EXPECT_EQ(finds("--block-size 512" + FilesOnly), whole);
    EXPECT_EQ(finds("--block-size 1G" + FilesOnly), whole);
    // The card's files lie on clusters of 4096 bytes.
    std::set<std::pair<std::int64_t, std::int64_t>> inClusters;
    for (const auto& [sector, size] : finds("--types jpg,png")) {
        inClusters.emplace(sector / 8, size);
    }
    EXPECT_EQ(finds("--types jpg,png --sector-size 4096"), inClusters);
    const std::int64_t second = std::next(whole.begin())->first;
    EXPECT_EQ(finds(fmt::format("--start {} --length 1 --types jpg", second)).begin()->first, second);
    EXPECT_TRUE(finds("--length 0").empty());
}

TEST(Recover, CutsAFileAtTheMediumsEndAndSaysSo) {
    const TempFolder folder;
    // The first PNG has no end and is closed by the second header; the find that passes the end is made by hand.
    Bytes image(20 * 512 + 100, 0);
    const std::string signature = "\x89PNG\r\n\x1A\n";
    std::copy(signature.begin(), signature.end(), image.begin());
    std::copy(signature.begin(), signature.end(), image.begin() + 20 * 512);
    WriteFile(folder / "image", image);
    ASSERT_EQ(RunProgram("scan " + Quoted(folder / "image") + " --report " + Quoted(folder / "finds")).status, 0);
    std::ofstream(folder / "finds", std::ios::app)
        << R"({"record":"find","type":46,"extension":"png","start_sector":18,"size":5000})" << '\n';
    ASSERT_EQ(
        RunProgram("extract --as-reported " + Quoted(folder / "finds") + " --out " + Quoted(folder / "out")).status, 0);
    const auto lines = ReadLines(folder / "out/report.jsonl");
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_EQ(lines[0]["size"], 20 * 512);
    EXPECT_EQ(lines[0]["flags"], json::array());
    EXPECT_EQ(lines[1]["size"], 2 * 512 + 100);
    EXPECT_EQ(lines[1]["flags"], json::array({"cut at end of medium"}));
}

// A file of zeros between a head and a tail.
struct LongFile {
    const char* extension;
    Bytes head;
    std::int64_t zeros;
    Bytes tail;
};

Bytes PngChunk(std::string_view name, const Bytes& data) {
    const Bytes named = Join({BytesOf(name), data});
    return Join({Big(data.size(), 4), named, Big(Crc32Of(named))});
}

// Whole files that are a little longer than the largest size that the library reports for their type.
std::vector<LongFile> LongFiles() {
    const Bytes gif = Fixture("animated.gif");
    const std::size_t paletteEnd = 13 + (std::size_t{6} << (gif[10] & 7U));
    Bytes comment{0x21, 0xFE};
    comment.resize(2 + (std::size_t{16} << 20U));
    for (std::size_t at = 2; at < comment.size(); at += 256) {
        comment[at] = 0xFF;
    }
    comment.push_back(0);

    constexpr std::uint32_t pixels = (10U << 20U) + 999;
    const Bytes data = PngChunk("IDAT", Bytes(pixels));

    constexpr std::uint32_t packed = (32U << 20U) + 77;
    const Bytes header = Pattern(40);
    const Bytes start = Join({Little(packed, 8), Little(header.size(), 8), Little(Crc32Of(header))});
    return {
        {"gif", Join({Bytes(gif.begin(), gif.begin() + static_cast<std::ptrdiff_t>(paletteEnd)), comment}), 0,
         Bytes(gif.begin() + static_cast<std::ptrdiff_t>(paletteEnd), gif.end())},
        {"png",
         Join({BytesOf("\x89PNG\r\n\x1A\n"), PngChunk("IHDR", {0, 0, 0, 8, 0, 0, 0, 8, 8, 0, 0, 0, 0}),
               Bytes(data.begin(), data.begin() + 8)}),
         pixels, Join({Bytes(data.end() - 4, data.end()), PngChunk("IEND", {})})},
        {"7z", Join({BytesOf("7z\xBC\xAF\x27\x1C"), {0, 4}, Little(Crc32Of(start)), start}), packed, header},
        // Only its scanner knows where it ends.
        {"pdf", BytesOf("%PDF-1.4\nxref"), (std::int64_t{100} << 20U) + 55, BytesOf("\nstartxref\n9\n%%EOF\n")},
    };
}

TEST(Recover, NoDefaultCapCutsAWholeFile) {
    const TempFolder folder;
    std::map<std::string, std::int64_t> sizes;
    std::ofstream image(folder / "image", std::ios::binary);
    const auto write = [&image](const Bytes& bytes) {
        std::ranges::copy(bytes, std::ostreambuf_iterator<char>(image));
    };
    for (const LongFile& file : LongFiles()) {
        const std::int64_t start = image.tellp();
        write(file.head);
        image.seekp(file.zeros, std::ios::cur);
        write(file.tail);
        const std::int64_t end = image.tellp();
        sizes[file.extension] = end - start;
        image.seekp((end / 512 + 1) * 512);
    }
    image.close();
    const auto outcomes = [&](const std::string& caps) {
        const std::string finds = Quoted(folder / "finds.jsonl");
        EXPECT_EQ(RunProgram("scan " + Quoted(folder / "image") + caps + " --report " + finds).status, 0);
        EXPECT_EQ(RunProgram("validate " + finds).status, 0);
        std::map<std::string, std::pair<std::string, std::int64_t>> found;
        for (const json& record : ReadLines(folder / "outcomes.jsonl")) {
            if (record["record"] == "outcome" && record["verdict"] != "no file") {
                found[record["extension"]] = {record["verdict"], record["size"]};
            }
        }
        return found;
    };
    const auto found = outcomes("");
    for (const auto& [name, size] : sizes) {
        ASSERT_TRUE(found.contains(name)) << name;
        EXPECT_EQ(found.at(name), std::pair(std::string("whole"), size)) << name;
    }
    const std::string cap = " --types gif,png,7z,pdf --cap 1M --out ";
    ASSERT_EQ(RunProgram("recover " + Quoted(folder / "image") + cap + Quoted(folder / "out")).status, 0);
    const auto files = RecoveredFiles(folder / "out");
    EXPECT_EQ(files.size(), sizes.size());
    for (const auto& [path, bytes] : files) {
        EXPECT_EQ(bytes.size(), 1U << 20U) << path;
    }
}

TEST(Recover, BoundsClaimsUnlessAllAreWanted) {
    const TempFolder folder;
    const fs::path finds = folder / "finds";
    ASSERT_EQ(RunProgram("scan " + Card + " --length 8 --report " + Quoted(finds)).status, 0);
    for (int sector = 0; sector < 5; ++sector) {
        std::ofstream(finds, std::ios::app)
            << fmt::format(R"({{"record":"find","type":46,"extension":"png","start_sector":{},"size":2000000}})"
                           "\n",
                           sector);
    }
    const std::string extract = "extract --as-reported " + Quoted(finds) + " --out ";
    RunProgram(extract + Quoted(folder / "some"));
    RunProgram(extract + Quoted(folder / "all") + " --all");
    const auto imageSize = fs::file_size(CardImage);
    EXPECT_EQ(RecoveredFiles(folder / "some").size(), 2 * imageSize / 2000000);
    EXPECT_EQ(Summary(folder / "some")["not_written"].size(), 1U);
    EXPECT_EQ(RecoveredFiles(folder / "all").size(), 5U);
}

TEST(Recover, PassesOverTheHolesOfASparseImage) {
    const TempFolder folder;
    const fs::path image = folder / "image";
    // Reading all of it would take the better part of an hour.
    constexpr std::int64_t middle = std::int64_t{4} << 40U;
    const Bytes card = ReadFile(CardImage);
    std::ofstream file(image, std::ios::binary);
    file.seekp(middle);
    file.write(reinterpret_cast<const char*>(card.data()), std::ssize(card));
    file.close();
    fs::resize_file(image, 2 * middle);
    ASSERT_EQ(RunProgram("recover " + Quoted(image) + " --out " + Quoted(folder / "out")).status, 0);
    ASSERT_EQ(RunProgram("recover " + Card + " --out " + Quoted(folder / "card")).status, 0);
    std::vector<Bytes> expected;
    for (auto& [path, bytes] : RecoveredFiles(folder / "card")) {
        expected.push_back(bytes);
    }
    std::vector<Bytes> found;
    for (auto& [path, bytes] : RecoveredFiles(folder / "out")) {
        found.push_back(bytes);
    }
    EXPECT_EQ(found, expected);
}

TEST(Recover, MountsFilesWithoutACopy) {
    const TempFolder folder;
    ASSERT_EQ(RunProgram("recover " + Card + " --quiet --out " + Quoted(folder / "out")).status, 0);
    EXPECT_EQ(WhileMounted(folder, "out", "diff -r seen/type/png out/png && ! touch seen/type/x 2>/dev/null"), 0);
}

// A raw image that begins like one of another format.
TEST(Recover, GoesOnAndMountsWithTheFormatThatWasGiven) {
    const TempFolder folder;
    Bytes image{'Q', 'F', 'I', 0xFB};
    image.resize(4096);
    std::ranges::copy(Fixture("rgb8.png"), std::back_inserter(image));
    WriteFile(folder / "image", image);
    const std::string recover = "recover " + Quoted(folder / "image") + " --quiet --out " + Quoted(folder / "out");
    EXPECT_NE(RunProgram(recover).status, 0);
    EXPECT_EQ(RunProgram(recover + " --format raw").status, 0);
    EXPECT_EQ(RunProgram(recover).status, 0);
    EXPECT_EQ(WhileMounted(folder, "out", "cmp seen/type/png/f0000000008.png out/png/f0000000008.png"), 0);
}

}  // namespace

}  // namespace salvor
