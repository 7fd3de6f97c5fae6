#include "host/plan/plan.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <limits>

#include "host/say/failure.h"
#include "host/say/size_text.h"
#include "host/scan/scanners.h"

namespace salvor {

namespace {

constexpr std::int32_t Doc = FileTypeIndex::Doc;
constexpr std::int32_t Txt = FileTypeIndex::Text;
constexpr std::int32_t Exif = FileTypeIndex::JpegCamera;
constexpr std::int32_t Jpg = FileTypeIndex::JpegGraphics;
constexpr std::int32_t Png = FileTypeIndex::Png;
const MediumShape Shape{100 * 512 + 10, 512};

Plan PlanOf(const std::vector<Find>& finds, PlanFilter filter = {AllTypes(), {}, {}, {}}) {
    filter.asReported = true;
    return MakePlan(ReportedOutcomes(finds, Shape, filter.types), Shape, filter, {{Png, 2000}});
}

// A planned file in one line.
std::string Describe(const PlannedFile& file) {
    std::string text = fmt::format("{} {} by", file.path, file.Size());
    for (const std::int32_t type : file.Types()) {
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
                              {Png, 6, -8}});
    EXPECT_EQ(Describe(plan), (Texts{"png/f0000000098.png 1034 by 46 cut", "jpg/f0000000099.jpg 522 by 42 cut",
                                     "png/f0000000099.png 522 by 46", "png/f0000000100.png 10 by 46 cut"}));
    Texts reasons;
    for (const PassedOver& passed : plan.passedOver) {
        EXPECT_EQ(passed.reason, NotWanted::NoFile);
        reasons.push_back(passed.outcome.finding.why);
    }
    EXPECT_EQ(reasons, (Texts{"it starts outside the medium", "its size is unknown", "its size is negative",
                              "it starts outside the medium", "it starts outside the medium"}));
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
        left.push_back(passed.outcome.startSector);
    }
    EXPECT_EQ(left, (std::vector<std::int64_t>{10, 11, 13, 14, 21, 30}));
    EXPECT_EQ(PlanOf(finds, {{Txt}, {}, {}, {}}).files.size(), 9U) << "without the others wanted";
}

TEST(Plan, FiltersByTypeAndSizeBeforeAnythingIsWritten) {
    PlanFilter filter{{Exif, Jpg, Png}, ParseSizeRule("--min-size", {"500", "png=1K"}), {}, {}};
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
        passed.emplace_back(one.outcome.startSector, one.reason);
    }
    EXPECT_EQ(passed, (std::vector<std::pair<std::int64_t, NotWanted>>{{1, NotWanted::TooSmall},
                                                                       {3, NotWanted::TooSmall},
                                                                       {6, NotWanted::TooLarge},
                                                                       {8, NotWanted::Type},
                                                                       {100, NotWanted::TooSmall}}))
        << "a file that is cut counts with what is left of it";
}

// An outcome in one line: sector, type, size, verdict.
Outcome At(std::int64_t sector, std::int32_t type, std::int64_t size, Verdict verdict, bool beginsInMiddle = false) {
    Outcome outcome;
    outcome.startSector = sector;
    outcome.finding = {verdict, size, type, type == Doc ? "docm" : "", "because", beginsInMiddle};
    return outcome;
}

Plan PlanOfOutcomes(const Outcomes& outcomes, const PlanFilter& filter = {AllTypes(), {}, {}, {}}) {
    return MakePlan(outcomes, Shape, filter, {{Png, 2000}});
}

TEST(Plan, KeepsWhatBeginsInAWholeFileForThat) {
    const Outcomes outcomes{At(10, Doc, 5 * 512, Verdict::Whole), At(11, Jpg, 600, Verdict::Whole),
                            At(13, Txt, 300, Verdict::Open), At(14, Png, 900, Verdict::Open),
                            At(15, Txt, 300, Verdict::Open, true)};
    const Plan plan = PlanOfOutcomes(outcomes);
    EXPECT_EQ(Describe(plan), (Texts{"docm/f0000000010.docm 2560 by 0", "txt/pieces/f0000000015.txt 300 by 28"}));
    ASSERT_EQ(plan.files[0].embedded.size(), 2U);
    EXPECT_EQ(plan.files[0].embedded[1].finding.size, 512) << "it ends with the file around it";
    PlanFilter filter{AllTypes(), {}, {}, {}};
    filter.withEmbedded = true;
    EXPECT_EQ(
        Describe(PlanOfOutcomes(outcomes, filter)),
        (Texts{"docm/f0000000010.docm 2560 by 0", "docm/f0000000010.docm.embedded/f0000000011.jpg 600 by 42",
               "docm/f0000000010.docm.embedded/f0000000014.png 512 by 46", "txt/pieces/f0000000015.txt 300 by 28"}));
    std::erase(filter.types, Doc);
    EXPECT_EQ(PlanOfOutcomes(outcomes, filter).files.size(), 4U) << "nothing is part of a file that is not wanted";
}

TEST(Plan, LetsNoFileThatIsNotWholeHideAnything) {
    for (const Verdict verdict : {Verdict::Open, Verdict::Truncated, Verdict::Damaged}) {
        const Outcomes outcomes{At(10, Doc, 50 * 512, verdict), At(12, Txt, 300, Verdict::Open),
                                At(14, Jpg, 600, Verdict::Damaged), At(20, Png, 900, Verdict::Whole)};
        EXPECT_EQ(Describe(PlanOfOutcomes(outcomes)),
                  (Texts{"docm/f0000000010.docm 5120 by 0", "txt/f0000000012.txt 300 by 28",
                         "jpg/f0000000014.jpg 600 by 42", "png/f0000000020.png 900 by 46"}));
        const Plan sharingStart = PlanOfOutcomes({At(20, Jpg, 600, verdict), At(20, Png, 900, Verdict::Whole)});
        EXPECT_EQ(Describe(sharingStart).front(), "jpg/f0000000020.jpg 600 by 42");
        PlanFilter filter{AllTypes(), {}, {}, {verdict}};
        EXPECT_EQ(PlanOfOutcomes(outcomes, filter).files[0].Size(), 5120) << "whatever is asked for";
    }
}

TEST(Plan, KeepsAnOpenFileTogetherThatWasFollowedToItsEnd) {
    Outcome sound = At(10, Doc, 20 * 512, Verdict::Open);
    sound.finding.isUnbroken = true;
    const Outcomes outcomes{sound, At(12, Jpg, 600, Verdict::Whole), At(13, Txt, 300, Verdict::Open)};
    const Plan plan = PlanOfOutcomes(outcomes);
    EXPECT_EQ(Describe(plan), (Texts{"docm/f0000000010.docm 10240 by 0"}));
    EXPECT_EQ(plan.files[0].embedded.size(), 1U);
    // The last bytes of what is claimed are another file's.
    EXPECT_EQ(Describe(PlanOfOutcomes({sound, At(12, Jpg, 600, Verdict::Whole), At(29, Png, 600, Verdict::Whole)})),
              (Texts{"docm/f0000000010.docm 9728 by 0", "png/f0000000029.png 600 by 46"}));
}

TEST(Plan, KeepsTheExtentsOfAFileTogetherAndWhatBeginsInThem) {
    // The rest of the document lies before its start and after a picture that cuts the one before it.
    Outcome pieces = At(20, Doc, 3 * 512 + 100, Verdict::Whole);
    pieces.place = SettledPlace{{{20, 512}, {5, 1024}, {30, 512}}, 1636};
    const Outcomes outcomes{At(4, Jpg, 2000, Verdict::Damaged), At(6, Png, 900, Verdict::Whole), pieces,
                            At(22, Jpg, 8 * 512 + 100, Verdict::Whole), At(30, Txt, 300, Verdict::Open)};
    const Plan plan = PlanOfOutcomes(outcomes);
    EXPECT_EQ(Describe(plan), (Texts{"jpg/f0000000004.jpg 512 by 42", "docm/f0000000020.docm 1636 by 0",
                                     "jpg/f0000000022.jpg 4196 by 42"}));
    EXPECT_EQ(plan.files[1].extents, (std::vector<Extent>{{20, 512}, {5, 1024}, {30, 100}}));
    ASSERT_EQ(plan.files[1].embedded.size(), 1U);
    EXPECT_EQ(plan.files[1].embedded[0].finding.size, 512) << "it ends with the extent around it";
    ASSERT_EQ(plan.passedOver.size(), 2U);
    EXPECT_EQ(plan.passedOver[1].container, plan.files[1].path);
}

TEST(Plan, NeverCutsAWholeFileButWhereThatIsAskedFor) {
    const Plan plan = PlanOfOutcomes({At(1, Png, 2001, Verdict::Whole), At(20, Jpg, 30000, Verdict::Whole)});
    EXPECT_EQ(Describe(plan), (Texts{"png/f0000000001.png 2000 by 46 cap", "jpg/f0000000020.jpg 30000 by 42"}));
    EXPECT_EQ(plan.files[0].finding.verdict, Verdict::Truncated);
}

TEST(SizeRules, UnderstandUnitsAndRefuseWhatIsNoSize) {
    const std::vector<std::pair<std::string, std::int64_t>> sizes{
        {"0", 0},          {"300", 300},  {"64K", 65536},     {"64kb", 65536}, {"1.5M", 1572864}, {"2GiB", 1LL << 31},
        {"1T", 1LL << 40}, {"512b", 512}, {"0.5T", 1LL << 39}};
    for (const auto& [text, bytes] : sizes) {
        EXPECT_EQ(ParseSize(text), bytes) << text;
    }
    for (const char* text :
         {"", "K", "-1", "+1", "10X", "1 0", "10KK", "nan", "inf", "8388608T", "1e3", "0x10", "10i"}) {
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

TEST(Plan, LeavesOutWhatSaysThatItIsTooSmallOrOfAnotherTime) {
    const auto refusal = [](const char* taken, std::int64_t width, std::int64_t height, PlanFilter filter) {
        FileDetails details;
        details.taken = taken;
        details.width = width;
        details.height = height;
        return RefusalOf(details, filter);
    };
    PlanFilter pixels;
    pixels.leastLongSide = 640;
    pixels.leastShortSide = 480;
    for (const auto& [width, height, isKept] :
         {std::tuple(640, 480, true), {480, 640, true}, {4000, 479, false}, {639, 639, false}, {0, 0, true}}) {
        EXPECT_EQ(!refusal("", width, height, pixels), isKept) << width << "x" << height;
    }
    const char* const taken = "2019-05-31T23:59:59";
    for (const auto& [from, to, isKept] : {std::tuple("2019-05-31", "", true),
                                           {"2019-06", "", false},
                                           {"", "2019-05-31", true},
                                           {"", "2019", true},
                                           {"", "2019-04", false},
                                           {"2019", "2019", true}}) {
        PlanFilter time;
        time.takenFrom = from;
        time.takenTo = to;
        EXPECT_EQ(!refusal(taken, 0, 0, time), isKept) << from << ".." << to;
        EXPECT_EQ(refusal("", 0, 0, time), NotWanted::OtherTime);
    }
}

}  // namespace

}  // namespace salvor
