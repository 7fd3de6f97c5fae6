#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <numeric>

#include "containers/KCompoundFileType.h"
#include "tests/support/CompoundBuilder.h"
#include "tests/support/Registry.h"

namespace {

using test::Bytes;
using test::Claim;
using test::CompoundFile;
using test::CompoundKind;
using test::CompoundPlan;
using test::Medium;
using test::Names;
using Claims = std::vector<Claim>;

// The types of a kind, in the order of the indices.
std::vector<std::int32_t> TypesOf(std::int32_t kind) {
    if (kind == 11) {
        return {85};
    }
    const auto row = std::ranges::find(test::CompoundKinds(), kind, &CompoundKind::number);
    return row == test::CompoundKinds().end() ? std::vector<std::int32_t>() : row->types;
}

// What all types report of a medium by the rules. `sectors` bounds where files may begin.
Claims ExpectedClaims(const Medium& medium) {
    Claims claims;
    const auto sectorSize = static_cast<std::size_t>(medium.SectorSize());
    for (std::size_t at = 0; at < medium.Data().size(); at += sectorSize) {
        const test::CompoundVerdict verdict = test::ReferenceCompound(ByteSpan(medium.Data()).subspan(at));
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

// The kind that the claims stand for, 1 for none.
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
    for (const CompoundKind& kind : test::CompoundKinds()) {
        for (const std::string& name : kind.anyOf) {
            EXPECT_EQ(KindOf(test::PlanWith({kind.allOf, {name}})), kind.number) << name;
            std::string otherCase = name;
            std::ranges::transform(name, otherCase.begin(), [](unsigned char c) {
                return static_cast<char>(std::isupper(c) != 0 ? std::tolower(c) : std::toupper(c));
            });
            EXPECT_EQ(KindOf(test::PlanWith({{otherCase}, kind.allOf})), kind.number) << otherCase;
            for (const std::string& wrong : {name + "s", name.substr(0, name.size() - 1), name + "\xE4"}) {
                // "Props9" less its last letter is a name of the same kind.
                const bool isName = std::ranges::count(kind.anyOf, wrong) != 0;
                EXPECT_EQ(KindOf(test::PlanWith({kind.allOf, {wrong}})), isName ? kind.number : 1) << wrong;
            }
        }
        EXPECT_EQ(KindOf(test::PlanWith({kind.allOf})), 1) << kind.name;
        for (std::size_t i = 0; i < kind.allOf.size(); ++i) {
            EXPECT_EQ(KindOf(test::PlanWith({Without(kind.allOf, i), kind.anyOf})), 1) << kind.allOf[i];
        }
    }
}

TEST(Compound, TheFirstKindThatHoldsDecidesAndTheRootsClassComesLast) {
    CompoundPlan all;
    all.entries[0].classId = {0x70, 0xAA, 0x7C, 0x59, 0xAA, 0x72, 0xCF, 0x11,
                              0x83, 0x1E, 0x52, 0x41, 0x53, 0x48, 0x00, 0x00};
    const CompoundPlan root = all;
    for (const CompoundKind& kind : test::CompoundKinds()) {
        for (const Names* names : {&kind.anyOf, &kind.allOf}) {
            for (const std::string& name : *names) {
                all.entries.push_back({name, 100});
            }
        }
    }
    for (const CompoundKind& kind : test::CompoundKinds()) {
        EXPECT_EQ(KindOf(all), kind.number);
        std::erase_if(all.entries,
                      [&](const test::CompoundEntry& e) { return std::ranges::count(kind.anyOf, e.name) != 0; });
    }
    EXPECT_EQ(KindOf(all), 11);
    CompoundPlan classOfAnotherEntry = root;
    std::ranges::swap(classOfAnotherEntry.entries[0].classId,
                      classOfAnotherEntry.entries.emplace_back("Contents", 900).classId);
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
        CompoundFile file(test::PlanWith({{"PageMaker"}}));
        file.Set16(tested.offset, tested.value);
        EXPECT_EQ(Scan(file).size(), tested.isAccepted ? 1U : 0U) << tested.offset << ": " << tested.value;
    }
}

// A bad entry makes the size sectorSize times the words of the FAT, which wraps around.
TEST(Compound, SizesBelow1024BytesAndFrom2GiBOnAreNotReported) {
    struct Case {
        unsigned sectorShift;
        std::uint32_t spareFatSectors;
        std::int64_t size;
    };
    constexpr Case cases[] = {{9, 0, 65536}, {9, 1, 131072}, {16, 0, 0x40000000},
                              {16, 1, 0},    {16, 3, 0},     {16, 4, 0x40000000}};
    for (const Case& tested : cases) {
        CompoundPlan plan = test::PlanWith({{"PageMaker"}});
        plan.entries.push_back({"Bad", 10, 2});
        plan.sectorShift = tested.sectorShift;
        plan.spareFatSectors = tested.spareFatSectors;
        const Claims expected = tested.size == 0 ? Claims{} : Claims{{97, {2, tested.size}}};
        EXPECT_EQ(Scan(CompoundFile(plan)), expected) << tested.sectorShift << ", " << tested.spareFatSectors;
    }

    // 512 bytes of header, one sector of FAT, two of entries, and the stream's.
    for (const std::uint32_t streamSectors : {0U, 1U}) {
        CompoundPlan plan;
        plan.sectorShift = 7;
        plan.spareFatSectors = 0;
        plan.entries.push_back({"PageMaker", 128 * streamSectors});
        EXPECT_EQ(Scan(CompoundFile(plan)).size(), streamSectors) << "896 or 1024 bytes";
    }
}

TEST(Compound, ABlockAtSector0IsTakenAsScanned) {
    SharedEngine<KCompoundFileType>().Reset();
    Medium medium;
    medium.Put(0, test::CompoundFileOf(2));
    SectorBlock block = BlockOf(medium);
    test::RecordingSink sink;
    const test::TypePtr word = test::CreateType(0);
    block.firstSector = 0;
    word->ScanBlock(&block, &sink);
    EXPECT_TRUE(sink.finds.empty());
    block.firstSector = Medium::StreamStart;
    word->ScanBlock(&block, &sink);
    EXPECT_EQ(sink.finds.size(), 1U);
}

// A compound file of any kind, most of them with some damage where it matters.
Bytes RandomFile(test::Noise& noise) {
    CompoundPlan plan;
    constexpr unsigned shifts[] = {3, 5, 7, 7, 7, 8, 9, 9, 9, 12};
    plan.sectorShift = shifts[noise.Below(std::size(shifts))];
    const bool holdsEntries = plan.sectorShift >= 7;
    const auto& kinds = test::CompoundKinds();
    for (std::uint64_t n = 1 + noise.Below(2); holdsEntries && n > 0; --n) {
        const CompoundKind& kind = kinds[noise.Below(kinds.size())];
        Names names = kind.allOf;
        names.push_back(kind.anyOf[noise.Below(kind.anyOf.size())]);
        for (std::string& name : names) {
            if (noise.Below(20) != 0) {
                plan.entries.push_back(
                    {name, static_cast<std::uint32_t>(noise.Below(noise.Below(4) == 0 ? 9000 : 400))});
            }
        }
    }
    if (holdsEntries && noise.Below(3) == 0) {
        plan.entries.push_back({std::string(20 + noise.Below(13), 'n')});
    }
    plan.entries[0].size = static_cast<std::uint32_t>(noise.Below(3000));
    plan.miniFatSectors = static_cast<std::uint32_t>(noise.Below(3));
    plan.difatSectors = static_cast<std::uint32_t>(noise.Below(3) == 0 ? 1 + noise.Below(3) : 0);
    plan.spareFatSectors = plan.difatSectors + static_cast<std::uint32_t>(noise.Below(8) == 0 ? noise.Below(140) : 0);
    CompoundFile file(plan);

    const auto sectors = static_cast<std::uint32_t>(file.bytes.size() / file.sectorSize);
    const auto anySector = [&] {
        constexpr std::uint32_t odd[] = {0,          1,          0xFFFFFFFF, 0xFFFFFFFE, 0xFFFFFFFD, 0xFFFFFFFC,
                                         0x7FFFFFFF, 0x80000000, 0x00FFFFFF, 0x003FFFFF, 0x01000000};
        return noise.Below(4) == 0 ? odd[noise.Below(std::size(odd))]
                                   : static_cast<std::uint32_t>(noise.Below(sectors));
    };
    const auto anyOf = [&](const std::vector<std::size_t>& offsets) {
        return offsets[noise.Below(offsets.size())];
    };
    for (std::uint64_t damage = noise.Below(4); damage > 0; --damage) {
        switch (noise.Below(9)) {
            case 0: {
                constexpr std::size_t fields[] = {48, 60, 68, 76, 80, 76 + 108 * 4};
                file.Set32(fields[noise.Below(std::size(fields))], anySector());
                break;
            }
            case 1: {
                constexpr std::size_t fields[] = {44, 64, 72};
                file.Set32(fields[noise.Below(std::size(fields))], static_cast<std::uint32_t>(noise.Below(40)));
                break;
            }
            case 2: {
                // The directory's chain: to the next sector of it, to itself or away.
                const std::size_t link = file.firstDirectorySector + noise.Below(file.directory.size());
                file.Set32(file.fat[link], noise.Below(3) == 0
                                               ? anySector()
                                               : file.firstDirectorySector +
                                                     static_cast<std::uint32_t>(noise.Below(file.directory.size())));
                break;
            }
            case 8: {
                constexpr std::uint32_t others[] = {0, 1, 2, 3, 6, 8, 10, 11, 12, 32 + 9};
                file.Set16(30, others[noise.Below(std::size(others))]).Set16(32, 0);
                break;
            }
            case 3:
                file.Set32(anyOf(file.fat), anySector());
                break;
            case 4:
                if (!file.difat.empty()) {
                    file.Set32(anyOf(file.difat), anySector());
                    file.Set32(file.difat.back(), anySector());
                }
                break;
            default: {
                const std::size_t entry =
                    anyOf(file.directory) + noise.Below(std::max(file.sectorSize / 128, 1U)) * 128;
                constexpr std::size_t fields[] = {0, 2, 18, 20, 22, 64, 66, 67, 80, 116, 118, 120, 122, 123};
                constexpr std::uint32_t values[] = {0, 1, 2, 5, 6, 64, 65, 0x100, 0x400, 0x401, 0xFFFD, 0xFFFF};
                const std::size_t at = entry + fields[noise.Below(std::size(fields))];
                if (at + 2 <= file.bytes.size()) {
                    file.Set16(at, values[noise.Below(std::size(values))]);
                }
            }
        }
    }
    return file.bytes;
}

TEST(Compound, AgreesWithTheReferenceOnDamagedFiles) {
    test::Noise noise(21);
    std::map<std::int32_t, int> reports;
    for (int round = 0; round < 3000; ++round) {
        constexpr std::int32_t sectorSizes[] = {512, 512, 512, 4096, 520, 100, 16, 9, 8};
        Medium medium(sectorSizes[noise.Below(std::size(sectorSizes))]);
        medium.Put(static_cast<std::int64_t>(noise.Below(3)), RandomFile(noise));
        if (noise.Below(4) == 0) {
            // One inside or behind the other.
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
        EXPECT_GT(count, 50) << index;
    }
}

// A directory whose chain runs in circles adds its entries again and again, up to a bound that nobody could walk to.
TEST(Compound, CountsTheLapsOfALoopingDirectory) {
    for (const std::uint32_t declared : {1U, 2U, 1000U, 0x01000000U, 0x01FFFFFFU, 0x02000001U}) {
        CompoundPlan plan = test::PlanWith({{"PageMaker", "Contents", "Props", "Layer", "Scene", "Book"}});
        plan.spareFatSectors = 60;
        CompoundFile file(plan);
        ASSERT_EQ(file.directory.size(), 2U);
        const std::uint32_t fatWords = std::min(declared, 61U) * 128;
        const std::uint32_t visits = 128 * declared + 1;
        file.Set32(44, declared).Set32(file.fat[file.firstDirectorySector + 1], file.firstDirectorySector);
        // The header lists 109 FAT sectors at most; the 62nd is free.
        std::uint32_t perLap[2] = {};
        for (std::size_t i = 0; i < plan.entries.size(); ++i) {
            perLap[i / 4] += (plan.entries[i].size + 511) / 512 * 512;
        }
        const std::uint32_t entries = (visits + 1) / 2 * 4 + visits / 2 * 3;
        const std::uint32_t size = 512 + fatWords * 4 + (entries * 128 + 511) / 512 * 512 +
                                   (visits + 1) / 2 * perLap[0] + visits / 2 * perLap[1];
        const std::uint32_t reported = std::min(size, 512 * fatWords);
        EXPECT_EQ(Scan(file), (Claims{{97, {2, reported}}})) << declared;
    }
}

std::int64_t BytesRequested(const Medium& medium) {
    return std::accumulate(medium.requests.begin(), medium.requests.end(), std::int64_t{0},
                           [&medium](std::int64_t sum, const Medium::Request& r) {
                               return sum + std::int64_t{r.count} * medium.SectorSize();
                           });
}

// Headers that declare more than any medium holds. `chain` is what every word of the medium behind the header's sector
// says, plus the word's place where it shall not lead in circles.
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
            // For a candidate; and for a block, for all candidates together and for each.
            constexpr std::int64_t slack = std::int64_t{64} << 10;
            const std::int64_t bound = everywhere ? (std::int64_t{512} << 20) + sectors * ((256 << 10) + slack)
                                                  : (std::int64_t{384} << 20) + slack;
            EXPECT_LE(BytesRequested(medium), bound) << hostile.name;
        }
    }
}

}  // namespace
