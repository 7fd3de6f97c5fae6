#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <string>

#include "frame/contract/FileTypeCatalog.h"
#include "tests/support/Registry.h"
#include "tests/support/ReportRules.h"

namespace {

using namespace test;

constexpr std::size_t MediumBytes = std::size_t{64} << 20U;
constexpr std::int64_t MediaPerGiB = 16;

std::uint8_t Letter(std::uint8_t random) {
    constexpr std::string_view letters = "etaoinshrdlucmfwypvbgk EEE  TAOI\n\r\n\t,.;:-<>/=\"'()0123456789";
    return static_cast<std::uint8_t>(letters[random % letters.size()]);
}

struct Kind {
    const char* name;
    /// Shapes a byte from two random ones.
    std::uint8_t (*shape)(std::uint8_t a, std::uint8_t b);
    /// Whether each sector begins with the first two bytes of a file of some type.
    bool withStarts;
    /// A text file is no bogus find then.
    bool isText;
    /// Bogus finds of one type in a GiB, at most.
    std::int64_t mostPerGiB;
};
std::ostream& operator<<(std::ostream& out, const Kind& kind) { return out << kind.name; }

const Kind Kinds[] = {
    {"random", [](std::uint8_t a, std::uint8_t) { return a; }, false, false, 0},
    // Three bits of four are ones, as in the sync words of media streams.
    {"biased", [](std::uint8_t a, std::uint8_t b) { return static_cast<std::uint8_t>(a | b); }, true, false, 0},
    {"text", [](std::uint8_t a, std::uint8_t) { return Letter(a); }, false, true, 0},
    // One byte of eight is something, as in tables and padded records.
    {"zeroLaden", [](std::uint8_t a, std::uint8_t b) { return a % 8 == 0 ? b : std::uint8_t{0}; }, false, false, 0},
    {"zeros", [](std::uint8_t, std::uint8_t) { return std::uint8_t{0}; }, false, false, 0}};

class NoiseTest : public testing::TestWithParam<Kind> {};

TEST_P(NoiseTest, NoTypeFindsFilesInIt) {
    Noise noise(2024);
    Medium medium(512, noise.Random(MediumBytes));
    std::ranges::transform(medium.Data(), noise.Random(MediumBytes), medium.Data().begin(), GetParam().shape);
    if (GetParam().withStarts) {
        for (std::int64_t sector = 0; sector < medium.SectorCount(); ++sector) {
            medium.Put(sector, ByteSpan(Fixtures()[noise.Below(Fixtures().size())].bytes).first(2));
        }
    }
    std::map<std::int32_t, std::int64_t> bogus;
    for (const Claim& claim : ScanWithAllTypes(medium, EvenBlocks(medium, 2048))) {
        ++bogus[claim.index];
    }
    for (std::int32_t index = 0; index < FileTypeCount; ++index) {
        if (index == PlainText && GetParam().isText) {
            continue;
        }
        const std::int64_t perGiB = bogus[index] * MediaPerGiB;
        EXPECT_LE(perGiB, GetParam().mostPerGiB) << FileTypeCatalog[index].name;
        RecordProperty(FileTypeCatalog[index].extension + std::to_string(index), std::to_string(perGiB));
    }
}

INSTANTIATE_TEST_SUITE_P(Kinds, NoiseTest, testing::ValuesIn(Kinds),
                         [](const auto& tested) { return tested.param.name; });

}  // namespace
