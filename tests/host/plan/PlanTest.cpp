#include "host/plan/plan.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <limits>

#include "host/app/failure.h"
#include "host/scan/scanners.h"

namespace salvor {

namespace {

constexpr std::int32_t Doc = FileTypeIndex::Doc;
constexpr std::int32_t Txt = FileTypeIndex::Text;
constexpr std::int32_t Exif = FileTypeIndex::JpegCamera;
constexpr std::int32_t Jpg = FileTypeIndex::JpegGraphics;
constexpr std::int32_t Png = FileTypeIndex::Png;
constexpr MediumShape Shape{100 * 512 + 10, 512};

Plan PlanOf(const std::vector<Find>& finds, const PlanFilter& filter = {AllTypes(), {}, {}}) {
    std::vector<SizedFind> sized;
    for (const Find& find : finds) {
        sized.push_back({find, SizeSource::Reported, find.size == 2000});
    }
    return MakePlan(sized, Shape, filter);
}

// A planned file in one line.
std::string Describe(const PlannedFile& file) {
    std::string text = fmt::format("{} {} by", file.path, file.size);
    for (const std::int32_t type : file.claimants) {
        text += fmt::format(" {}", type);
    }
    text += file.cutAtEnd ? " cut" : "";
    text += file.atSizeCap ? " cap" : "";
    return text;
}

std::vector<std::string> Describe(const Plan& plan) {
    std::vector<std::string> texts;
    for (const PlannedFile& file : plan.files) {
        texts.push_back(Describe(file));
    }
    return texts;
}

using Texts = std::vector<std::string>;

TEST(Plan, JoinsClaimsOnOneRangeAndNumbersFilesThatShareAName) {
    const Plan plan = PlanOf(
        {{Png, 40, 700}, {Jpg, 7, 600}, {Doc, 40, 700}, {Jpg, 7, 600}, {Exif, 7, 900}, {Exif, 7, 600}, {Png, 3, 2000}});
    EXPECT_EQ(Describe(plan), (Texts{"png/f0000000003.png 2000 by 46 cap", "jpg/f0000000007.jpg 600 by 41 42",
                                     "jpg/f0000000007-2.jpg 900 by 41", "doc/f0000000040.doc 700 by 0 46"}));
    EXPECT_TRUE(plan.passedOver.empty());
}

TEST(Plan, NamesAFileAfterTheClaimantThatSaysMostAboutIt) {
    const Plan plan = PlanOf({{FileTypeIndex::Asf, 1, 600},
                              {FileTypeIndex::Wmv, 1, 600},
                              {FileTypeIndex::Wma, 1, 600},
                              {FileTypeIndex::Asf, 5, 600},
                              {FileTypeIndex::Srf, 7, 600},
                              {FileTypeIndex::Arw, 7, 600}});
    EXPECT_EQ(Describe(plan), (Texts{"wma/f0000000001.wma 600 by 15 16 14", "asf/f0000000005.asf 600 by 14",
                                     "arw/f0000000007.arw 600 by 106 59"}));
}

TEST(Plan, CutsAtTheMediumsEndAndSaysWhyAFindIsNoFile) {
    constexpr std::int64_t largest = std::numeric_limits<std::int64_t>::max();
    const Plan plan = PlanOf({{Png, 99, 522},
                              {Jpg, 99, 523},
                              {Png, 100, 11},
                              {Png, 98, largest},
                              {Png, 101, 1},
                              {Png, -1, 600},
                              {Png, largest, largest},
                              {Png, 5, 0},
                              {Png, 5, -8}});
    EXPECT_EQ(Describe(plan), (Texts{"png/f0000000098.png 1034 by 46 cut", "jpg/f0000000099.jpg 522 by 42 46 cut",
                                     "png/f0000000100.png 10 by 46 cut"}));
    std::vector<NotWanted> reasons;
    for (const PassedOver& passed : plan.passedOver) {
        reasons.push_back(passed.reason);
    }
    EXPECT_EQ(reasons, (std::vector<NotWanted>{NotWanted::BehindEnd, NotWanted::BehindEnd, NotWanted::BehindEnd,
                                               NotWanted::SizeUnknown, NotWanted::SizeNegative}));
}

TEST(Plan, LeavesOutTextThatBeginsInAnotherFile) {
    const std::vector<Find> finds{{Txt, 10, 9000}, {Txt, 11, 300},  {Doc, 10, 5 * 512}, {Png, 12, 600}, {Txt, 13, 300},
                                  {Txt, 14, 300},  {Txt, 15, 300},  {Txt, 9, 4000},     {Jpg, 20, 513}, {Txt, 21, 300},
                                  {Txt, 22, 300},  {Exif, 30, 400}, {Txt, 30, 400}};
    const Plan plan = PlanOf(finds);
    EXPECT_EQ(Describe(plan),
              (Texts{"txt/f0000000009.txt 4000 by 28", "doc/f0000000010.doc 2560 by 0", "png/f0000000012.png 600 by 46",
                     "txt/f0000000015.txt 300 by 28", "jpg/f0000000020.jpg 513 by 42", "txt/f0000000022.txt 300 by 28",
                     "jpg/f0000000030.jpg 400 by 41"}));
    std::vector<std::int64_t> left;
    for (const PassedOver& passed : plan.passedOver) {
        EXPECT_EQ(passed.reason, NotWanted::TextInFile);
        left.push_back(passed.find.startSector);
    }
    EXPECT_EQ(left, (std::vector<std::int64_t>{10, 11, 13, 14, 21, 30}));
    EXPECT_EQ(PlanOf(finds, {{Txt}, {}, {}}).files.size(), 9U) << "without the others wanted";
}

TEST(Plan, FiltersByTypeAndSizeBeforeAnythingIsWritten) {
    PlanFilter filter{{Exif, Jpg, Png}, ParseSizeRule("--min-size", {"500", "png=1K"}), {}};
    filter.maxSize = ParseSizeRule("--max-size", {"46=1.5K"});
    const Plan plan = PlanOf({{Jpg, 1, 499},
                              {Jpg, 2, 500},
                              {Png, 3, 1023},
                              {Png, 4, 1024},
                              {Png, 5, 1536},
                              {Png, 6, 1537},
                              {Jpg, 7, 40000},
                              {Doc, 8, 5000},
                              {Jpg, 100, 600}},
                             filter);
    EXPECT_EQ(Describe(plan), (Texts{"jpg/f0000000002.jpg 500 by 42", "png/f0000000004.png 1024 by 46",
                                     "png/f0000000005.png 1536 by 46", "jpg/f0000000007.jpg 40000 by 42"}));
    std::vector<std::pair<std::int64_t, NotWanted>> passed;
    for (const PassedOver& one : plan.passedOver) {
        passed.emplace_back(one.find.startSector, one.reason);
    }
    EXPECT_EQ(passed, (std::vector<std::pair<std::int64_t, NotWanted>>{{1, NotWanted::TooSmall},
                                                                       {3, NotWanted::TooSmall},
                                                                       {6, NotWanted::TooLarge},
                                                                       {8, NotWanted::Type},
                                                                       {100, NotWanted::TooSmall}}))
        << "a file that is cut counts with what is left of it";
}

TEST(SizeRules, UnderstandUnitsAndRefuseWhatIsNoSize) {
    const std::vector<std::pair<std::string, std::int64_t>> sizes{
        {"0", 0},          {"300", 300},  {"64K", 65536},     {"64kb", 65536}, {"1.5M", 1572864}, {"2GiB", 1LL << 31},
        {"1T", 1LL << 40}, {"512b", 512}, {"0.5T", 1LL << 39}};
    for (const auto& [text, bytes] : sizes) {
        EXPECT_EQ(ParseSize(text), bytes) << text;
    }
    for (const char* text :
         {"", "K", "-1", "+1", "10X", "1 0", "10KK", "nan", "inf", "9000000T", "1e3", "0x10", "10i"}) {
        EXPECT_EQ(ParseSize(text), std::nullopt) << text;
    }
    const SizeRule rule = ParseSizeRule("--min-size", {"1K", "jpg=2K", ".PNG=3K"});
    EXPECT_EQ(rule.For(Doc), 1024);
    EXPECT_EQ(rule.For(Exif), 2048);
    EXPECT_EQ(rule.For(Png), 3072);
    for (const char* word : {"jpg=", "=5", "xyz=5", "113=5", "-1=5", "jpg=1=2"}) {
        EXPECT_THROW(ParseSizeRule("--min-size", {word}), Failure) << word;
    }
    EXPECT_EQ(FormatExactSize(0x2000000000), "128 GiB");
    EXPECT_EQ(FormatExactSize(0x7FFFFFFF), "2147483647 bytes");
    EXPECT_EQ(FormatSize(1536), "1.5 KiB");
}

}  // namespace

}  // namespace salvor
