#include "host/validate/validate_finds.h"

#include <FileTypeCatalog.h>
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <limits>

#include "host/validate/outcomes_file.h"
#include "tests/host/TestFiles.h"

namespace salvor {

namespace {

using test::Bytes;
using Phase = Validator::Phase;

constexpr std::int64_t SectorSize = 512;
constexpr std::int32_t Jpg = FileTypeIndex::JpegGraphics;
constexpr std::int32_t Txt = FileTypeIndex::Text;

// A made-up format describes itself: a letter for the validator, a digit for the verdict, and one for each decimal of
// its size in sectors.
Finding Read(Place& file, std::int32_t type) {
    const ByteSpan head = file.At(0, 5);
    Finding finding;
    finding.verdict = static_cast<Verdict>(head[1] - '0');
    finding.size = std::min(((head[2] - '0') * 100 + (head[3] - '0') * 10 + head[4] - '0') * SectorSize, file.Limit());
    finding.type = type;
    finding.why = fmt::format("next {}", file.NextWhole(1) / SectorSize);
    return finding;
}

bool BeginsWith(ByteSpan head, std::uint8_t letter) { return head.size() > 4 && head[0] == letter; }

constexpr std::int32_t FirstTypes[] = {FileTypeIndex::Doc};
constexpr std::int32_t SecondTypes[] = {Jpg};
constexpr std::int32_t LateTypes[] = {FileTypeIndex::Tiff};
constexpr std::int32_t TextTypes[] = {Txt};
const Validator First{.name = "first",
                      .begins = [](ByteSpan head) { return BeginsWith(head, 'A'); },
                      .validate = [](Place& file) { return Read(file, FileTypeIndex::Doc); },
                      .types = FirstTypes};
// Also accepts the first one's files, as damaged ones.
const Validator Second{.name = "second",
                       .begins = [](ByteSpan head) { return BeginsWith(head, 'A') || BeginsWith(head, 'B'); },
                       .validate =
                           [](Place& file) {
                               Finding finding = Read(file, Jpg);
                               finding.verdict = file.At(0, 1)[0] == 'A' ? Verdict::Damaged : finding.verdict;
                               return finding;
                           },
                       .types = SecondTypes};
const Validator Late{.name = "late",
                     .phase = Phase::Bounded,
                     .begins = [](ByteSpan head) { return BeginsWith(head, 'C'); },
                     .validate = [](Place& file) { return Read(file, FileTypeIndex::Tiff); },
                     .types = LateTypes};
const Validator Text{.name = "text",
                     .phase = Phase::Text,
                     .begins = [](ByteSpan head) { return BeginsWith(head, 'T'); },
                     .validate = [](Place& file) { return Read(file, Txt); },
                     .types = TextTypes};
// Reads without end.
const Validator Greedy{.name = "greedy",
                       .begins = [](ByteSpan head) { return BeginsWith(head, 'G'); },
                       .validate =
                           [](Place& file) {
                               while (!file.IsExhausted()) {
                                   file.Charge(1 << 20);
                               }
                               return Read(file, Jpg);
                           },
                       .types = SecondTypes};
constexpr std::int32_t SoundTypes[] = {FileTypeIndex::Wav};
const Validator Sound{.name = "sound",
                      .begins = [](ByteSpan head) { return BeginsWith(head, 'S'); },
                      .validate = [](Place& file) { return Read(file, FileTypeIndex::Wav); },
                      .types = SoundTypes};
constexpr StartSignature LongStarts[] = {{"D-format"}};
const Validator Signed{.name = "signed",
                       .starts = LongStarts,
                       .begins = [](ByteSpan head) { return BeginsWith(head, 'D'); },
                       .validate = [](Place& file) { return Read(file, FileTypeIndex::Doc); },
                       .types = FirstTypes};
const Validator* const All[] = {&First, &Second, &Late, &Text, &Greedy, &Sound, &Signed};

class Recorder : public ValidateObserver {
public:
    bool OnPlace(Phase /*phase*/, std::int64_t /*byte*/) override { return places-- == 0; }
    void OnFinding(const KnownFinding& finding) override { findings.push_back(finding); }
    void OnRefused(std::int64_t sector, Phase phase) override { refused.emplace_back(sector, phase); }
    std::int64_t places = -1;
    std::vector<KnownFinding> findings;
    std::vector<std::pair<std::int64_t, Phase>> refused;
};

class ValidateFindsTest : public testing::Test {
protected:
    // Writes a file's letters at a sector and notes that a validator's signature was seen there.
    void Put(std::int64_t sector, std::string_view letters, bool isText = false) {
        std::ranges::copy(letters, image.begin() + sector * SectorSize);
        isText ? seen.AddTextStart(sector) : seen.starts.push_back(sector);
    }
    void Find(std::int64_t sector, std::int32_t type, std::int64_t size) { seen.finds.push_back({type, sector, size}); }

    Validation Validate(std::span<const KnownFinding> known = {}, std::optional<SectorRange> ahead = std::nullopt,
                        Phase phase = Phase::Structure) {
        Medium medium(std::make_unique<test::FakeDevice>(image), SectorSize);
        ValidateRequest request;
        request.validators = All;
        for (const KnownFinding& finding : known) {
            request.known.Add(finding);
        }
        for (const auto& [sector, ofPhase] : refusedBefore) {
            request.known.AddRefused(sector, ofPhase);
        }
        request.ahead = ahead;
        request.phase = phase;
        request.grids = grids;
        request.setAside = setAside;
        return ValidateFinds(medium, seen, std::move(request), recorder);
    }
    static std::vector<std::string> Lines(const Validation& validation) {
        std::vector<std::string> lines;
        for (const Outcome& outcome : validation.outcomes) {
            const Finding& finding = outcome.finding;
            lines.push_back(finding.verdict == Verdict::NoFile
                                ? fmt::format("{} no file: {}", outcome.startSector, finding.why.Text())
                                : fmt::format("{} {} {} {}", outcome.startSector, ExtensionOf(finding),
                                              VerdictName(finding.verdict), finding.size));
        }
        return lines;
    }
    using Texts = std::vector<std::string>;

    Bytes image = Bytes(1000 * SectorSize + 7);
    Sightings seen;
    std::vector<GridStretch> grids;
    Recorder recorder;
    // What earlier runs know.
    std::vector<std::pair<std::int64_t, Phase>> refusedBefore;
    std::span<const SetAside> setAside;
};

TEST_F(ValidateFindsTest, BelievesWhoeverIsSurestAndScannersWhereNoValidatorJudges) {
    Put(1, "A0002");  // Both see it.
    Find(1, Jpg, 9000);
    Put(10, "B1002");
    Find(10, FileTypeIndex::Gif, 700);  // Its scanner walks the structure.
    Find(20, FileTypeIndex::Gif, 800);
    Find(30, FileTypeIndex::Wmv, 800);  // Only estimates, and `asf` says less than `wmv`.
    Find(30, FileTypeIndex::Asf, 700);
    constexpr std::int64_t largest = std::numeric_limits<std::int64_t>::max();
    Find(40, Jpg, largest);  // Its validator does not accept it.
    Find(40, Jpg, -largest);
    Put(50, "B4001");
    Find(50, Jpg, 800);
    Find(60, FileTypeIndex::Rdc, 0);
    Find(999, FileTypeIndex::Gif, 5000);
    Find(1001, FileTypeIndex::Gif, 5000);
    Find(-1, FileTypeIndex::Gif, 5000);
    const Validation validation = Validate();
    EXPECT_EQ(validation.outcomes[5].reported, (Claims{{Jpg, -largest}, {Jpg, largest}}));
    EXPECT_EQ(
        Lines(validation),
        (Texts{"-1 no file: it starts outside the medium", "1 doc whole 1024", "10 gif whole 700", "20 gif whole 800",
               "30 wmv open 800", "40 no file: it does not begin like one", "50 no file: next 950",
               "60 rdc open 480768", "999 gif truncated 519", "1001 no file: it starts outside the medium"}));
}

TEST_F(ValidateFindsTest, TakesOwnStartsOnlyForWholeFilesAndLongOpenOnes) {
    Put(1, "B0001");
    Put(10, "B1007");
    Put(20, "B1008");
    Put(24, "B1008");  // Inside the previous one, and not looked at.
    Put(25, "B0001");
    Put(40, "B2100");
    Put(50, "B3100");
    EXPECT_EQ(Lines(Validate()), (Texts{"1 jpg whole 512", "20 jpg open 4096"}));
}

TEST_F(ValidateFindsTest, LooksAtNothingInsideAWholeFileButAtWhatMayUnmaskIt) {
    Put(10, "A0020");
    Put(12, "B0003");
    Put(14, "B0003");
    Find(14, Jpg, 600);
    Find(16, Jpg, 100);
    Put(100, "A0020");
    Put(105, "B0002");
    Put(110, "B0030");
    Find(110, Jpg, 50000);
    Put(200, "A0020");
    Find(210, FileTypeIndex::Gif, 50000);  // Only a validator's word unmasks a file around it.
    Find(300, FileTypeIndex::Bmp, 50000);  // A header's word hides nothing inside.
    Put(310, "B0002");
    Put(500, "S0020");  // Nor does a length in front of samples.
    Put(505, "B0002");
    Put(600, "C0020");  // Pictures may contain others, but no sounds.
    Put(605, "B0002");
    Put(700, "C0020");
    Put(705, "S0002");
    const Validation validation = Validate();
    EXPECT_EQ(Lines(validation),
              (Texts{"10 doc whole 10240", "14 jpg open 600", "16 jpg open 100", "100 doc damaged 10240",
                     "105 jpg whole 1024", "110 jpg whole 15360", "200 doc whole 10240", "210 gif open 50000",
                     "300 bmp damaged 50000", "310 jpg whole 1024", "500 wav damaged 10240", "505 jpg whole 1024",
                     "600 tif whole 10240", "605 jpg whole 1024", "700 tif damaged 10240", "705 wav whole 1024"}));
}

// All hidden files have the format of the file that claims their sectors.
TEST_F(ValidateFindsTest, LooksInAClaimThatMayHideOthers) {
    Put(10, "A3050");
    Find(10, FileTypeIndex::Doc, 90);
    Put(20, "A0002");
    Put(100, "D3050");
    Find(100, FileTypeIndex::Doc, 90);
    Put(110, "D0002");
    Put(200, "A2050");
    Find(200, FileTypeIndex::Doc, 90);
    Put(210, "A0002");
    Put(300, "A2400");  // Ends where a whole file begins, so it does not hide what follows.
    Find(300, FileTypeIndex::Doc, 90);
    Put(305, "B0002");
    Put(310, "B1020");
    EXPECT_EQ(Lines(Validate()),
              (Texts{"10 doc damaged 25600", "100 doc damaged 25600", "110 doc whole 1024", "200 doc truncated 25600",
                     "210 doc whole 1024", "300 doc truncated 204800", "305 jpg whole 1024", "310 jpg open 10240"}));
}

TEST_F(ValidateFindsTest, TellsLatePhasesWhichFilesAreWhole) {
    Put(1, "C1100");
    Put(20, "A0005");
    Put(22, "T1100", true);
    Put(30, "T1010", true);
    Put(35, "T1100", true);  // Inside the previous text.
    Put(37, "T0003", true);
    Put(39, "T0002", true);
    Put(60, "A3020");
    Put(61, "T1004", true);
    Find(61, Txt, 90);
    Put(70, "T4001", true);
    Put(80, "C0010");
    Put(82, "T1001", true);
    const Validation validation = Validate();
    EXPECT_EQ(Lines(validation), (Texts{"1 tif open 51200", "20 doc whole 2560", "30 txt open 5120",
                                        "39 txt whole 1024", "61 txt open 2048", "80 tif whole 5120"}));
    EXPECT_EQ(validation.outcomes[0].finding.why, "next 19");
}

TEST_F(ValidateFindsTest, LooksForTextsWhereClustersBegin) {
    for (std::int64_t sector = 3; sector < 700; sector += 40) {
        Put(sector, "A0002");
    }
    Put(9, "T1003", true);
    Put(11, "T1003", true);
    // No start was noted for this one, which begins after the other's cluster.
    std::ranges::copy(std::string_view("T1001"), image.begin() + 19 * SectorSize);
    Find(20, Txt, 90);
    std::ranges::copy(std::string_view("T1003"), image.begin() + 20 * SectorSize);
    Put(36, "T0003", true);
    Find(36, Txt, 90);
    const Texts lines = Lines(Validate());
    EXPECT_EQ(Texts(lines.begin() + 1, lines.begin() + 5),
              (Texts{"11 txt open 1536", "19 txt open 512", "20 no file: it begins in the middle of a cluster",
                     "36 txt whole 1536"}));

    // One file system has smaller clusters. The files in another are older than that and lie elsewhere.
    grids = {{{0, 100}, {2, 1}}, {{300, 400}, {8, 7}}};
    Put(331, "T1003", true);
    Put(335, "T1003", true);
    const Texts known = Lines(Validate());
    EXPECT_EQ(known[1], "9 txt open 1536");
    EXPECT_EQ(std::ranges::count(known, "331 txt open 1536"), 1);
    EXPECT_EQ(std::ranges::count(known, "335 txt open 1536"), 0);
}

TEST_F(ValidateFindsTest, TakesNoFileWithUnreadableSectorsForWhole) {
    Put(1, "A0010");
    Put(20, "T1010", true);
    Put(40, "A0010");
    seen.unreadable = {{5, 1}, {29, 5}};
    EXPECT_EQ(Lines(Validate()), (Texts{"1 doc damaged 5120", "20 txt damaged 5120", "40 doc whole 5120"}));
    seen.unreadable = {{0, 1}, {11, 9}, {30, 10}, {50, 3}};
    EXPECT_EQ(Lines(Validate()), (Texts{"1 doc whole 5120", "20 txt open 5120", "40 doc whole 5120"}));
}

TEST_F(ValidateFindsTest, TakesReportedSizesWhenNothingMoreMayBeRead) {
    for (std::int64_t sector = 0; sector < 900; ++sector) {
        Put(sector, "G0001");
    }
    Find(3, Jpg, 700);
    Find(890, FileTypeIndex::Gif, 800);
    const Validation validation = Validate();
    EXPECT_EQ(Lines(validation), (Texts{"3 jpg open 700", "890 gif open 800"}));
    EXPECT_NE(validation.outcomes[0].finding.why.Text().find("too much reading"), std::string::npos);
}

TEST_F(ValidateFindsTest, SaysTheSameWhateverPartsWereLookedAtBefore) {
    for (std::uint32_t seed = 1; seed < 40; ++seed) {
        image.assign(image.size(), 0);
        seen = {};
        const Bytes random = test::Pattern(4 * 900, seed);
        for (std::int64_t sector = 0; sector < 900; sector += 1 + random[static_cast<std::size_t>(sector)] % 16) {
            const auto dice = [&](int n) {
                return random[static_cast<std::size_t>(sector) + static_cast<std::size_t>(n) * 900];
            };
            const char format = "AABCTTG"[dice(1) % (seed % 8 == 0 ? 7 : 6)];
            Put(sector, fmt::format("{}{}{:03}", format, dice(2) % 4, dice(3) % (seed % 3 == 0 ? 200 : 30)),
                format == 'T');
            if (dice(2) % 16 < 4) {
                Find(sector, dice(2) % 16 < 2 ? Jpg : FileTypeIndex::Gif, (dice(3) + 1) * 100);
            }
        }
        const auto outcomesOf = [&](std::span<const KnownFinding> known) {
            Validation validation = Validate(known);
            for (Outcome& outcome : validation.outcomes) {
                // Real formats of the first phase do not depend on the next whole file.
                if (outcome.finding.type == FileTypeIndex::Doc || outcome.finding.type == Jpg) {
                    outcome.finding.why = "";
                }
            }
            return validation.outcomes;
        };
        refusedBefore.clear();
        const Outcomes alone = outcomesOf({});
        for (const std::int64_t part : {7, 100, 450}) {
            std::vector<KnownFinding> known;
            refusedBefore.clear();
            for (const Phase phase : {Phase::Structure, Phase::Bounded, Phase::Text}) {
                recorder.findings.clear();
                recorder.refused.clear();
                for (std::int64_t first = 0; first < 1001; first += part) {
                    EXPECT_FALSE(Validate(known, SectorRange{first, part}, phase).complete);
                }
                known.insert(known.end(), recorder.findings.begin(), recorder.findings.end());
                refusedBefore.insert(refusedBefore.end(), recorder.refused.begin(), recorder.refused.end());
            }
            EXPECT_TRUE(outcomesOf(known) == alone) << "seed " << seed << ", parts of " << part;
        }
    }
}

TEST_F(ValidateFindsTest, KeepsTheFirstFindingForAPlaceAsItWas) {
    KnownFinding large{7, Phase::Text, "text", {Verdict::Open, std::int64_t{5} << 33, Txt, "log", "why"}, 0};
    large.cost = std::int64_t{9} << 40;
    KnownFinding small = large;
    small.finding.size = 5;
    small.cost = 3;
    KnownFindings known;
    for (const KnownFinding& finding : {small, large, small}) {
        known.Add(finding);
        EXPECT_EQ(known[known.Count() - 1], finding);
        small.startSector = -2;
    }
    large.phase = Phase::Bounded;
    known.Add(large);
    large.phase = Phase::Text;
    large.countsWholeOnly = true;
    known.Add(large);
    known.Sort();
    small.startSector = 7;
    EXPECT_EQ(known.AtPlace(7, Phase::Text, false), small);
    EXPECT_EQ(known.AtPlace(7, Phase::Text, true), large);
    large.phase = Phase::Bounded;
    large.countsWholeOnly = false;
    EXPECT_EQ(known.AtPlace(7, Phase::Bounded, false), large);
    EXPECT_FALSE(known.AtPlace(7, Phase::Structure, false));
    known.Drop(Phase::Text);
    EXPECT_EQ(known.Count(), 1U);
}

TEST_F(ValidateFindsTest, AsksNobodyAgainWhereNobodyAccepted) {
    Put(500, "x");
    Put(3, "x");
    EXPECT_TRUE(Validate().outcomes.empty());
    const test::TempFolder folder;
    {
        OutcomesWriter writer(folder / "outcomes", "digest", ".part");
        for (const auto& [sector, phase] : recorder.refused) {
            writer.AddRefused(phase, std::array{sector, std::int64_t{1}});
        }
        writer.TakeName();
    }
    const auto read = ReadOutcomes(folder / "outcomes");
    ASSERT_TRUE(read);
    EXPECT_EQ(read->known.Refused(Phase::Bounded), (std::vector<std::int64_t>{3, 1, 500, 1}));
    for (const Phase phase : {Phase::Structure, Phase::Bounded, Phase::Text}) {
        for (const std::int64_t sector : read->known.Refused(phase)) {
            refusedBefore.emplace_back(sector, phase);
        }
    }
    // What the medium has now is seen only where the earlier run does not count.
    Put(3, "A0002");
    Put(500, "A0002");
    const SetAside crashed{500, "second", ""};
    setAside = {&crashed, 1};
    recorder.refused.clear();
    EXPECT_EQ(Lines(Validate()), (Texts{"500 doc whole 1024"}));
    EXPECT_TRUE(recorder.refused.empty());
}

TEST_F(ValidateFindsTest, GoesOnFromWhereverItWasStoppedOrCut) {
    for (std::int64_t sector = 0; sector < 900; sector += 30) {
        Put(sector, fmt::format("{}{}0{}{}", "ABCT"[sector % 4], sector % 3, sector % 4, sector % 7), sector % 4 == 3);
        Find(sector, sector % 8 == 0 ? Jpg : FileTypeIndex::Gif, sector + 1);
    }
    const Validation whole = Validate();
    ASSERT_TRUE(whole.complete);
    EXPECT_GT(whole.outcomes.size(), 20U);
    const std::vector<KnownFinding> all = recorder.findings;
    const test::TempFolder folder;
    const std::filesystem::path path = folder / "outcomes";
    {
        OutcomesWriter writer(path, "digest", ".part");
        for (const KnownFinding& finding : all) {
            writer.AddFinding(finding);
        }
        writer.TakeName();
        writer.Add(whole);
    }
    // A run that goes on, and is killed before it has written what it knew.
    { OutcomesWriter(path, "digest", ".part").AddPiece({1, 2}); }
    const Bytes file = test::ReadFile(path);
    const auto header = static_cast<std::size_t>(std::ranges::find(file, '\n') - file.begin());
    ASSERT_TRUE(ReadOutcomes(path));
    EXPECT_TRUE(ReadOutcomes(path)->validation.complete);
    EXPECT_EQ(ReadOutcomes(path)->validation.outcomes, whole.outcomes);
    for (std::size_t length = 0; length < file.size(); length += 97) {
        test::WriteFile(path, Bytes(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(length)));
        const auto read = ReadOutcomes(path);
        ASSERT_EQ(read.has_value(), length >= header) << length;
        if (read) {
            EXPECT_FALSE(read->validation.complete);
            std::vector<KnownFinding> known;
            for (std::size_t i = 0; i < read->known.Count(); ++i) {
                known.push_back(read->known[i]);
            }
            ASSERT_LE(known.size(), all.size());
            EXPECT_TRUE(std::ranges::equal(known, std::span(all).first(known.size())));
            recorder.findings.clear();
            EXPECT_EQ(Validate(known).outcomes, whole.outcomes) << length;
            EXPECT_TRUE(std::ranges::equal(recorder.findings, std::span(all).subspan(known.size())));
        }
    }
    Validation inPieces = whole;
    Outcome& last = inPieces.outcomes.back();
    last.place = SettledPlace{{{last.startSector, 512}, {9, last.finding.size}}, last.finding.size};
    const auto write = [&path](const Validation& validation) {
        OutcomesWriter writer(path, "digest", ".part");
        writer.Add(validation);
        writer.TakeName();
    };
    write(inPieces);
    EXPECT_EQ(ReadOutcomes(path)->validation.outcomes, inPieces.outcomes);
    // Names and extents are built from an outcome's fields.
    Validation hostile;
    hostile.outcomes = {whole.outcomes.front(), last, last};
    hostile.outcomes[0].finding.extension = "../x";
    hostile.outcomes[1].place.Change().extents.front().startSector -= 1;
    hostile.outcomes[2].place.Change().extents.back().bytes = -1;
    write(hostile);
    EXPECT_TRUE(ReadOutcomes(path)->validation.outcomes.empty());
    EXPECT_EQ(ReadOutcomes(path)->damagedLines, 3);

    recorder.places = 10;
    EXPECT_FALSE(Validate().complete);
}

}  // namespace

}  // namespace salvor
