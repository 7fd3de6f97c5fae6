#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <functional>
#include <map>
#include <numeric>
#include <optional>

#include "containers/KCompoundFileType.h"
#include "frame/read/Budget.h"
#include "tests/support/CompoundBuilder.h"
#include "tests/support/Registry.h"

namespace {

using namespace test;

// The types of a kind, in the order of the indices.
std::vector<std::int32_t> TypesOf(std::int32_t kind) {
    if (kind == 11) {
        return {85};
    }
    const auto row = std::ranges::find(CompoundKinds(), kind, &CompoundKind::number);
    return row == CompoundKinds().end() ? std::vector<std::int32_t>() : row->types;
}

// What the rules say all types report of a medium. `sectors` bounds where files may begin.
Claims ExpectedClaims(const Medium& medium) {
    Claims claims;
    const auto sectorSize = static_cast<std::size_t>(medium.SectorSize());
    for (std::size_t at = 0; at < medium.Data().size(); at += sectorSize) {
        const CompoundVerdict verdict = ReferenceCompound(ByteSpan(medium.Data()).subspan(at));
        if (sectorSize < 9 || static_cast<std::int32_t>(verdict.size) < 1024) {
            continue;
        }
        for (const std::int32_t type : TypesOf(verdict.kind)) {
            claims.push_back({type, {static_cast<std::int64_t>(at / sectorSize), verdict.size}});
        }
    }
    std::ranges::stable_sort(claims, {}, &Claim::index);
    return claims;
}

Claims Scan(Medium& medium) { return ScanWithAllTypes(medium, {medium.SectorCount()}); }

Claims Scan(const CompoundFile& file) {
    Medium medium;
    medium.Put(2, file.bytes);
    return Scan(medium);
}

// The kind that the claims amount to, 1 for none.
std::int32_t KindOf(const CompoundPlan& plan) {
    const Claims claims = Scan(CompoundFile(plan));
    std::vector<std::int32_t> types;
    std::ranges::transform(claims, std::back_inserter(types), &Claim::index);
    for (std::int32_t kind = 2; kind <= 15; ++kind) {
        if (!types.empty() && types == TypesOf(kind)) {
            return kind;
        }
    }
    EXPECT_TRUE(types.empty());
    return 1;
}

Names Without(Names names, std::size_t index) {
    names.erase(names.begin() + static_cast<std::ptrdiff_t>(index));
    return names;
}

TEST(Compound, AKindNeedsOneOfItsNamesAndEachOfTheOthers) {
    for (const CompoundKind& kind : CompoundKinds()) {
        for (const std::string& name : kind.anyOf) {
            EXPECT_EQ(KindOf(PlanWith({kind.allOf, {name}})), kind.number) << name;
            std::string otherCase = name;
            std::ranges::transform(name, otherCase.begin(), [](unsigned char c) {
                return static_cast<char>(std::isupper(c) != 0 ? std::tolower(c) : std::toupper(c));
            });
            EXPECT_EQ(KindOf(PlanWith({{otherCase}, kind.allOf})), kind.number) << otherCase;
            for (const std::string& wrong : {name + "s", name.substr(0, name.size() - 1), name + "\xE4"}) {
                // "Props9" without its last letter is a name of the same kind.
                const bool isName = std::ranges::count(kind.anyOf, wrong) != 0;
                EXPECT_EQ(KindOf(PlanWith({kind.allOf, {wrong}})), isName ? kind.number : 1) << wrong;
            }
        }
        EXPECT_EQ(KindOf(PlanWith({kind.allOf})), 1) << kind.name;
        for (std::size_t i = 0; i < kind.allOf.size(); ++i) {
            EXPECT_EQ(KindOf(PlanWith({Without(kind.allOf, i), kind.anyOf})), 1) << kind.allOf[i];
        }
    }
}

TEST(Compound, TheFirstKindThatHoldsDecidesAndTheRootsClassComesLast) {
    CompoundPlan all;
    all.entries[0].classId = {0x70, 0xAA, 0x7C, 0x59, 0xAA, 0x72, 0xCF, 0x11,
                              0x83, 0x1E, 0x52, 0x41, 0x53, 0x48, 0x00, 0x00};
    const CompoundPlan root = all;
    for (const CompoundKind& kind : CompoundKinds()) {
        for (const Names* names : {&kind.anyOf, &kind.allOf}) {
            for (const std::string& name : *names) {
                all.entries.push_back({name, 100});
            }
        }
    }
    for (const CompoundKind& kind : CompoundKinds()) {
        EXPECT_EQ(KindOf(all), kind.number);
        std::erase_if(all.entries, [&](const CompoundEntry& e) { return std::ranges::count(kind.anyOf, e.name) != 0; });
    }
    EXPECT_EQ(KindOf(all), 11);
    CompoundPlan classOfAnotherEntry = root;
    classOfAnotherEntry.entries.push_back(root.entries[0]);
    classOfAnotherEntry.entries[0].classId[15] = 1;
    EXPECT_EQ(KindOf(classOfAnotherEntry), 1);
}

TEST(Compound, HeadersThatAreRefused) {
    struct Case {
        std::size_t offset;
        std::uint32_t value;
        bool isAccepted;
    };
    constexpr Case cases[] = {
        {24, 254, true},     {24, 255, false},   {26, 254, true}, {26, 255, false},   {26, 0x0103, false},
        {28, 0xFFFF, false}, {28, 0xFEFF, true}, {32, 9, true},   {32, 10, false},    {30, 9 + 32, true},
        {30, 255, false},    {72, 1, true},      {72, 2, false},  {6, 0xE01A, false}, {0, 0xCFD1, false},
    };
    for (const Case& tested : cases) {
        CompoundFile file(PlanWith({{"PageMaker"}}));
        file.Set16(tested.offset, tested.value);
        EXPECT_EQ(Scan(file).size(), tested.isAccepted ? 1U : 0U) << tested.offset << ": " << tested.value;
    }
}

// A file at the limits of the rules.
struct EdgeCase {
    const char* what;
    CompoundPlan plan;
    std::function<void(CompoundFile&)> change;
    // Given by hand for some.
    std::optional<std::int64_t> size = {};
};

CompoundPlan PageMakerPlan(unsigned sectorShift, std::uint32_t spareFatSectors,
                           const std::vector<CompoundEntry>& more = {}) {
    CompoundPlan plan = PlanWith({{"PageMaker"}});
    plan.sectorShift = sectorShift;
    plan.spareFatSectors = spareFatSectors;
    plan.entries.insert(plan.entries.end(), more.begin(), more.end());
    return plan;
}

std::vector<EdgeCase> EdgesOfSizes() {
    const auto nothing = [](CompoundFile&) {
    };
    const CompoundPlan bad{.entries = {{"Root Entry"}, {"PageMaker", 700}, {"Bad", 10, 2}}};
    const auto badWith = [&bad](unsigned sectorShift, std::uint32_t spareFatSectors) {
        CompoundPlan made = bad;
        made.sectorShift = sectorShift;
        made.spareFatSectors = spareFatSectors;
        return made;
    };
    return {
        {"header, FAT and entries have 896 bytes",
         {.entries = {{"Root Entry"}, {"PageMaker"}}, .sectorShift = 7},
         nothing,
         0},
        {"1024 bytes", {.entries = {{"Root Entry"}, {"PageMaker", 1}}, .sectorShift = 7}, nothing, 1024},
        // A bad entry makes the size sectorSize times the words of the FAT, which wraps around.
        {"bad entry", badWith(9, 0), nothing, 65536},
        {"bad entry, 1 GiB", badWith(16, 0), nothing, 0x40000000},
        {"bad entry, 2 GiB", badWith(16, 1), nothing, 0},
        {"bad entry, 4 GiB", badWith(16, 3), nothing, 0},
        {"bad entry, 5 GiB", badWith(16, 4), nothing, 0x40000000},
        {"DIFAT that links to itself", PageMakerPlan(7, 200),
         [](CompoundFile& file) {
             file.Set32(44, 9000).Set32(72, 9000).Set32(68, 3 + 201);
             for (std::size_t word = 0; word < 32; ++word) {
                 file.Set32((3 + 202) * 128 + word * 4, 3 + 201);
             }
         }},
        {"directory that goes on at 4 GiB, which is the header", PageMakerPlan(9, 0),
         [](CompoundFile& file) { file.Set32(file.fat[file.firstDirectorySector], 0x7FFFFF).Set16(64, 2); }, 65536},
        {"root's size that shrinks on the way",
         {.entries = {{"Root Entry"}, {"PageMaker"}, {}, {}, {"Far"}, {"Near"}, {}, {}, {"Root Entry"}},
          .spareFatSectors = 9},
         [](CompoundFile& file) {
             file.Set32(file.directory[0] + 120, 0x1000).Set32(file.directory[1] + 116, 0x800);
             file.Set32(file.fat[file.firstDirectorySector + 2], file.firstDirectorySector + 1);
         },
         512 * 128 * 10},
    };
}

std::vector<EdgeCase> EdgesOfFields() {
    std::vector<EdgeCase> cases;
    for (const std::uint32_t sector : {0x3FFFFFU, 0x400000U, 0x80000000U}) {
        cases.push_back({"DIFAT at 2 GiB", PageMakerPlan(9, 0), [=](CompoundFile& file) {
                             file.Set32(72, 1).Set32(68, sector);
                         }});
    }
    for (const std::uint32_t count : {1U, 2047U, 2049U}) {
        for (const std::uint32_t link : {0U, 1U, 0x3FFFFFU, 0x400000U, 0x80000000U}) {
            cases.push_back({"MiniFAT", PageMakerPlan(9, 60), [=](CompoundFile& file) {
                                 file.Set32(64, count).Set32(60, 1).Set32(2 * 512 + 508, link);
                             }});
        }
    }
    const std::initializer_list<std::pair<std::size_t, std::uint32_t>> fields{
        {116, 0xFFFFFFFD}, {116, 0xFFFFFFFC}, {116, 0x3FFF},    {116, 0x4000},    {120, 0x4000000},
        {120, 0x4000001},  {64, 0x01050040},  {64, 0x01060040}, {64, 0x02050040}, {64, 0x02060042}};
    for (const auto& [field, value] : fields) {
        cases.push_back(
            {"entry", PageMakerPlan(16, 0, {{"Edge", 1}}), [field = field, value = value](CompoundFile& file) {
                 file.Set32(file.directory[0] + 2 * 128 + field, value);
             }});
    }
    return cases;
}

// What is reported follows the reference.
TEST(Compound, EdgesOfTheRules) {
    std::vector<EdgeCase> cases = EdgesOfSizes();
    std::ranges::move(EdgesOfFields(), std::back_inserter(cases));
    for (const EdgeCase& tested : cases) {
        CompoundFile file(tested.plan);
        tested.change(file);
        const std::int64_t size = ReferenceCompoundSize(file.bytes);
        const bool isReported = static_cast<std::int32_t>(size) >= 1024;
        EXPECT_EQ(Scan(file), isReported ? (Claims{{FileTypeIndex::P65, {2, size}}}) : Claims{})
            << tested.what << ", " << size;
        if (tested.size) {
            EXPECT_EQ(isReported ? size : 0, *tested.size) << tested.what;
        }
    }
}

TEST(Compound, ABlockAtSector0IsTakenAsScanned) {
    SharedEngine<KCompoundFileType>().Reset();
    Medium medium;
    medium.Put(0, CompoundFileOf(2));
    SectorBlock block = BlockOf(medium);
    RecordingSink sink;
    const TypePtr word = CreateType(FileTypeIndex::Doc);
    block.firstSector = 0;
    word->ScanBlock(&block, &sink);
    EXPECT_TRUE(sink.finds.empty());
    block.firstSector = Medium::StreamStart;
    word->ScanBlock(&block, &sink);
    EXPECT_EQ(sink.finds.size(), 1U);
}

struct Dice {
    Noise& noise;

    std::uint32_t Below(std::uint64_t bound) const { return static_cast<std::uint32_t>(noise.Below(bound)); }
    auto Pick(const auto& from) const { return from[noise.Below(std::size(from))]; }
    std::uint32_t PickOf(std::initializer_list<std::uint32_t> values) const {
        return values.begin()[Below(values.size())];
    }
};

// Of any kind, or of two.
CompoundPlan RandomPlan(const Dice& dice) {
    CompoundPlan plan;
    plan.sectorShift = dice.PickOf({3, 5, 7, 7, 7, 8, 9, 9, 9, 12});
    for (std::uint32_t kinds = plan.sectorShift < 7 ? 0 : 1 + dice.Below(2); kinds > 0; --kinds) {
        const CompoundKind kind = dice.Pick(CompoundKinds());
        Names names = kind.allOf;
        names.push_back(dice.Pick(kind.anyOf));
        for (const std::string& name : names) {
            plan.entries.push_back({dice.Below(20) == 0 ? std::string(dice.Below(33), 'n') : name,
                                    dice.Below(4) == 0 ? dice.Below(9000) : dice.Below(400)});
        }
    }
    plan.entries[0].size = dice.Below(3000);
    plan.miniFatSectors = dice.Below(3);
    plan.difatSectors = dice.Below(3) == 0 ? 1 + dice.Below(3) : 0;
    plan.spareFatSectors = plan.difatSectors + (dice.Below(8) == 0 ? dice.Below(140) : 0);
    return plan;
}

// The number of a sector of the file, or one that the rules treat specially.
std::uint32_t RandomSector(const Dice& dice, const CompoundFile& file) {
    if (dice.Below(4) != 0) {
        return dice.Below(file.bytes.size() / file.sectorSize);
    }
    const auto fatWords = static_cast<std::uint32_t>(file.fat.size());
    return dice.PickOf({0, 1, fatWords, 0xFFFFFFFF, 0xFFFFFFFE, 0xFFFFFFFD, 0xFFFFFFFC, 0x7FFFFFFF, 0x80000000,
                        0x7FFFFFFFU / file.sectorSize, 0x7FFFFFFFU / file.sectorSize + 1});
}

// Changes one word where it matters.
void Damage(const Dice& dice, CompoundFile& file) {
    const auto inDirectory = [&] {
        return file.firstDirectorySector + dice.Below(file.directory.size());
    };
    std::uint32_t value = RandomSector(dice, file);
    const std::size_t entry = dice.Pick(file.directory) + dice.Below(std::max(file.sectorSize / 128, 1U)) * 128;
    // Fields that the file lacks are written to a harmless place.
    std::size_t at = 8;
    switch (dice.Below(8)) {
        case 0:
            at = dice.PickOf({48, 60, 68, 76, 80, 76 + 108 * 4});
            break;
        case 1:
            at = dice.PickOf({44, 64, 72});
            value = dice.Below(12);
            break;
        // Sectors too small for a word, too small for an entry, and mini sectors of 1 byte.
        case 2:
            at = 30;
            value = dice.PickOf({0, 1, 2, 6, 8, 10, 11, 12, 32 + 9});
            break;
        case 3:
            at = dice.Pick(file.fat);
            break;
        case 4:
            at = file.fat[inDirectory()];
            value = inDirectory();
            break;
        case 5:
            at = file.difat.empty() ? at : dice.Below(2) == 0 ? dice.Pick(file.difat) : file.difat.back();
            break;
        default:
            at = entry + dice.PickOf({0, 2, 16, 20, 64, 66, 80, 116, 118, 120, 122});
            value = dice.PickOf({0, 1, 2, 5, 6, 64, 65, 0x100, 0x401, 0x20040, 0xFFFFFFFE});
    }
    if (at + 4 <= file.bytes.size()) {
        file.Set32(at, value);
    }
}

// A compound file of any kind, most of them with some damage.
Bytes RandomFile(Noise& noise) {
    const Dice dice{noise};
    CompoundFile file(RandomPlan(dice));
    for (std::uint32_t damage = dice.Below(4); damage > 0; --damage) {
        Damage(dice, file);
    }
    return file.bytes;
}

TEST(Compound, AgreesWithTheReferenceOnDamagedFiles) {
    Noise noise(21);
    std::map<std::int32_t, int> reports;
    for (int round = 0; round < 1000; ++round) {
        constexpr std::int32_t sectorSizes[] = {512, 512, 512, 4096, 520, 100, 16, 9, 8};
        Medium medium(sectorSizes[noise.Below(std::size(sectorSizes))]);
        medium.Put(static_cast<std::int64_t>(noise.Below(3)), RandomFile(noise));
        if (noise.Below(4) == 0) {
            // One inside or after the other.
            medium.Put(static_cast<std::int64_t>(noise.Below(static_cast<std::uint64_t>(medium.SectorCount()))),
                       RandomFile(noise));
        }
        const Claims expected = ExpectedClaims(medium);
        ASSERT_EQ(ScanWithAllTypes(medium, RandomBlocks(medium, noise)), expected) << "round " << round;
        for (const Claim& claim : expected) {
            ++reports[claim.index];
        }
    }
    EXPECT_EQ(reports.size(), 13U) << "all but the one known by its class";
    for (const auto& [index, count] : reports) {
        EXPECT_GT(count, 15) << index;
    }
}

// A directory whose chain loops adds its entries again and again, up to a bound that no walk could reach.
TEST(Compound, CountsTheLapsOfALoopingDirectory) {
    for (const std::uint32_t declared : {1U, 2U, 61U, 0x01000000U, 0x01FFFFFFU, 0x02000001U}) {
        // Sectors of two entries, one with a stream, and one.
        CompoundFile file({.entries = {{"Root Entry"}, {"PageMaker"}, {}, {}, {"Other", 1}, {}, {}, {}, {"Third"}},
                           .spareFatSectors = 60});
        file.Set32(44, declared).Set32(file.fat[file.firstDirectorySector + 2], file.firstDirectorySector);
        const std::uint32_t fatWords = std::min(declared, 61U) * 128;
        const std::uint32_t visits = 128 * declared + 1;
        const std::uint32_t entries = visits / 3 * 4 + (visits % 3 == 0 ? 0 : visits % 3 + 1);
        const std::uint32_t size = 512 + fatWords * 4 + (entries * 128 + 511) / 512 * 512 + (visits + 1) / 3 * 512;
        EXPECT_EQ(Scan(file), (Claims{{FileTypeIndex::P65, {2, std::min(size, 512 * fatWords)}}})) << declared;
    }
}

std::int64_t BytesRequested(const Medium& medium) {
    return std::accumulate(medium.requests.begin(), medium.requests.end(), std::int64_t{0},
                           [&medium](std::int64_t sum, const Medium::Request& r) {
                               return sum + std::int64_t{r.count} * medium.SectorSize();
                           });
}

// Headers that declare more than any medium holds. `step` makes the words of the medium differ from place to place, so
// that chains do not loop; 0 makes all words equal.
struct Hostile {
    const char* name;
    std::uint32_t sectorShift;
    std::uint32_t directory;
    std::uint32_t difat;
    std::uint32_t step;
};

TEST(Compound, WorkOnHostileHeadersIsBounded) {
    constexpr Hostile cases[] = {
        {"sectors of 1 GiB", 30, 0, 1, 0},          {"sectors of 2 GiB", 31, 1, 1, 0},
        {"sectors of 64 KiB", 16, 1, 1, 5},         {"DIFAT over the whole medium", 9, 1, 1, 127},
        {"directory over the medium", 7, 1, 0, 33}, {"sectors of 4 bytes", 2, 1, 1, 1},
        {"sectors of 1 byte", 0, 1, 1, 1},
    };
    constexpr std::int64_t sectors = 4096;
    for (const Hostile& hostile : cases) {
        for (const bool everywhere : {false, true}) {
            Medium medium(512, Bytes(sectors * 512));
            for (std::int64_t sector = 0; sector < sectors; ++sector) {
                CompoundFile header{CompoundPlan{}};
                header.Set16(30, hostile.sectorShift).Set16(32, 0).Set32(44, 0xFFFFFFFF).Set32(72, 0xFFFFFFFF);
                header.Set32(48, hostile.directory).Set32(60, 1).Set32(64, 0xFFFFFFFF).Set32(68, hostile.difat);
                for (std::uint32_t i = 0; i < 109; ++i) {
                    const auto place = static_cast<std::uint32_t>(sector) * 128 + i;
                    header.Set32(76 + i * 4, 1 + (place * hostile.step) % 20000);
                }
                if (sector != 0 && !everywhere) {
                    header.bytes[0] = 0;
                }
                medium.Put(sector, ByteSpan(header.bytes).first(512));
            }
            Scan(medium);
            // The bound for one candidate; for many, the shared budget, what the medium refills, and each candidate's
            // sure bytes.
            constexpr std::int64_t slack = std::int64_t{64} << 10;
            const std::int64_t bound =
                everywhere ? Budget::MostBytes + sectors * (512 * Budget::RefillFactor + Budget::SureBytes + slack)
                           : Budget::MostBytes / 2 + Budget::SureBytes + slack;
            EXPECT_LE(BytesRequested(medium), bound) << hostile.name;
        }
    }
}

}  // namespace
