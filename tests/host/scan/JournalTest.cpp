#include "host/scan/journal.h"

#include <FileTypeCatalog.h>
#include <gtest/gtest.h>

#include "host/say/failure.h"
#include "tests/host/TestFiles.h"

namespace salvor {

namespace {

using test::TempFolder;

constexpr std::int32_t Exif = FileTypeIndex::JpegCamera;
constexpr std::int32_t Jpg = FileTypeIndex::JpegGraphics;
constexpr std::int32_t Png = FileTypeIndex::Png;

const std::vector<Find> Finds{{Exif, 72, 50174}, {Png, 900, 28487}, {Jpg, -5, 0}, {Png, 1LL << 40, 1LL << 60}};

JournalHeader HeaderFor(const std::string& image) {
    JournalHeader header;
    header.image = {image, ImageFormat::Vhdx, image + ".map"};
    header.imageSize = 2097152;
    header.sectorSize = 520;
    header.blockSize = 1048320;
    header.range = {5, 4000};
    header.types = {Exif, Jpg, Png};
    header.caps = {{Png, 50 << 20}};
    return header;
}

void WriteJournal(const std::filesystem::path& path, const std::string& image, bool complete) {
    JournalWriter writer(path, HeaderFor(image));
    for (const Find& find : Finds) {
        writer.AddFind(find);
        writer.AddProgress(find.startSector);
    }
    for (const std::int64_t sector : {5, 6, 9, 10, 11, 4000}) {
        writer.AddStart(sector);
        writer.AddTextStart(sector);
    }
    writer.AddUnreadable({{7, 2}});
    writer.AddZeros({{64, 64}, {256, 32}});
    ScanSummary summary;
    summary.complete = complete;
    summary.findsByType = {{Png, 2}};
    summary.unreadable = {{7, 2}};
    writer.AddSummary(summary);
    writer.Flush();
}

TEST(Journal, GivesBackWhatWasWritten) {
    const TempFolder folder;
    for (const std::string image : {"/tmp/card.img", "/tmp/quote\"line\n.img", "/tmp/\xFF\xFEnot-utf8"}) {
        WriteJournal(folder / "finds", image, true);
        const Journal journal = ReadJournal(folder / "finds");
        EXPECT_EQ(journal.header.image, HeaderFor(image).image);
        EXPECT_EQ(journal.header.imageSize, 2097152);
        EXPECT_EQ(journal.header.sectorSize, 520);
        EXPECT_EQ(journal.header.blockSize, 1048320);
        EXPECT_EQ(journal.header.range, (SectorRange{5, 4000}));
        EXPECT_EQ(journal.header.types, (std::vector<std::int32_t>{Exif, Jpg, Png}));
        EXPECT_EQ(journal.header.caps, (std::map<std::int32_t, std::int64_t>{{Png, 50 << 20}}));
        EXPECT_EQ(journal.seen.finds, Finds);
        EXPECT_EQ(journal.seen.starts, (std::vector<std::int64_t>{5, 6, 9, 10, 11, 4000}));
        EXPECT_EQ(journal.seen.textStarts, (std::vector<SectorRange>{{5, 2}, {9, 3}, {4000, 1}}));
        EXPECT_EQ(journal.seen.unreadable, (std::vector<SectorRange>{{7, 2}}));
        EXPECT_EQ(journal.seen.zeros, (std::vector<SectorRange>{{64, 64}, {256, 32}}));
        EXPECT_TRUE(journal.complete);
        EXPECT_EQ(journal.damagedLines, 0);
    }
    WriteJournal(folder / "stopped", "x", false);
    EXPECT_FALSE(ReadJournal(folder / "stopped").complete);
}

TEST(Journal, IsReadableWhereverItWasCut) {
    const TempFolder folder;
    WriteJournal(folder / "finds", "card.img", true);
    const test::Bytes whole = test::ReadFile(folder / "finds");
    const auto headerEnd = std::find(whole.begin(), whole.end(), '\n') - whole.begin();
    for (std::ptrdiff_t length = 0; length < static_cast<std::ptrdiff_t>(whole.size()); ++length) {
        const test::Bytes cut(whole.begin(), whole.begin() + length);
        test::WriteFile(folder / "cut", cut);
        if (length < headerEnd) {
            EXPECT_THROW(ReadJournal(folder / "cut"), Failure) << length;
            continue;
        }
        const Journal journal = ReadJournal(folder / "cut");
        // Every find with a complete line is there.
        const std::string text(cut.begin(), cut.end());
        std::size_t lines = 0;
        for (std::size_t at = text.find("\"find\""); at != std::string::npos; at = text.find("\"find\"", at + 1)) {
            lines += text.find('\n', at) != std::string::npos ? 1U : 0U;
        }
        ASSERT_EQ(journal.seen.finds.size(), lines) << length;
        EXPECT_TRUE(std::equal(journal.seen.finds.begin(), journal.seen.finds.end(), Finds.begin()));
        EXPECT_FALSE(journal.complete) << length;
        EXPECT_EQ(journal.damagedLines, !cut.empty() && length > headerEnd && cut.back() != '\n' ? 1 : 0) << length;
    }
}

TEST(Journal, PassesOverLinesThatMakeNoSense) {
    const TempFolder folder;
    WriteJournal(folder / "finds", "card.img", false);
    const test::Bytes good = test::ReadFile(folder / "finds");
    std::string text(good.begin(), good.end());
    const std::vector<std::string> nonsense{R"({"record":"find","type":113,"start_sector":1,"size":1})",
                                            R"({"record":"find","type":-1,"start_sector":1,"size":1})",
                                            R"({"record":"find","type":4294967296,"start_sector":1,"size":1})",
                                            R"({"record":"find","type":46,"start_sector":1.5,"size":1})",
                                            R"({"record":"find","type":46,"start_sector":1})",
                                            R"({"record":"find","type":"46","start_sector":1,"size":1})",
                                            R"({"record":"starts","sectors":[1.5]})",
                                            R"({"record":"text_starts","sectors":[{"first":-1,"count":1}]})",
                                            R"({"record":"unreadable","sectors":[7]})",
                                            R"({"record":7})",
                                            R"([1,2])",
                                            "null",
                                            "",
                                            "garbage",
                                            R"({"record":"other"})"};
    for (const std::string& line : nonsense) {
        text += line + '\n';
    }
    test::WriteFile(folder / "bad", text);
    const Journal journal = ReadJournal(folder / "bad");
    EXPECT_EQ(journal.seen.finds, Finds);
    EXPECT_EQ(journal.damagedLines, static_cast<std::int64_t>(nonsense.size()));

    const std::string header = text.substr(0, text.find('\n'));
    const auto replaced = [&](const std::string& from, const std::string& to) {
        std::string changed = header;
        changed.replace(changed.find(from), from.size(), to);
        return changed + '\n';
    };
    test::WriteFile(folder / "first", replaced("\"version\":2", "\"version\":1"));
    EXPECT_TRUE(ReadJournal(folder / "first").seen.starts.empty()) << "the first version knows no starts";
    for (const std::string& line :
         {replaced("\"version\":2", "\"version\":3"), replaced("salvor-finds", "other"),
          replaced("\"sector_size\":520", "\"sector_size\":0"), replaced("\"sector_size\":520", "\"sector_size\":8192"),
          replaced("\"size\":2097152", "\"size\":\"x\""), std::string("\n"), std::string("[]\n")}) {
        test::WriteFile(folder / "bad", line);
        EXPECT_THROW(ReadJournal(folder / "bad"), Failure) << line;
    }
}

}  // namespace

}  // namespace salvor
