// Rules that every validator must keep: a validator joins by being in the table, a fixture by its folder.

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <map>
#include <set>

#include "host/plan/plan.h"
#include "host/scan/scanners.h"
#include "host/validate/validate_finds.h"
#include "tests/host/TestFiles.h"
#include "tests/support/NoiseMedia.h"

namespace salvor {

namespace {

namespace fs = std::filesystem;
using test::Bytes;

constexpr std::int32_t SectorSize = 512;
constexpr std::size_t ClusterBytes = 4096;

struct Sample {
    std::string name;
    Bytes bytes;
};

const std::vector<Sample>& Samples() {
    static const std::vector<Sample> samples = [] {
        std::set<fs::path> paths;
        for (const auto& entry : fs::directory_iterator(SALVOR_SAMPLES_DIR "/fixtures")) {
            paths.insert(entry.path());
        }
        std::vector<Sample> list;
        for (const fs::path& path : paths) {
            list.push_back({path.filename().string(), test::ReadFile(path)});
        }
        return list;
    }();
    return samples;
}

class Collector : public ScanObserver {
public:
    void OnFind(const Find& find) override { seen.finds.push_back(find); }
    void OnStart(std::int64_t sector) override { seen.starts.push_back(sector); }
    void OnTextStart(std::int64_t sector) override { seen.AddTextStart(sector); }
    void OnBlockDone(std::int64_t /*nextSector*/) override {}
    bool StopRequested() override { return false; }
    Sightings seen;
};

class NeverStops : public ValidateObserver {
public:
    bool OnPlace(Validator::Phase /*phase*/, std::int64_t /*byte*/) override { return false; }
};

Sightings Scan(Medium& medium) {
    ScanRequest request;
    request.range = {0, medium.SectorCount()};
    request.types = AllTypes();
    request.withStarts = true;
    Collector collector;
    ScanRange(medium, request, collector);
    return collector.seen;
}

Outcomes OutcomesOn(const Bytes& image) {
    Medium medium(std::make_unique<test::FakeDevice>(image), SectorSize);
    NeverStops observer;
    return ValidateFinds(medium, Scan(medium), {}, observer).outcomes;
}

PlannedFiles FilesOn(const Bytes& image) {
    return MakePlan(OutcomesOn(image), {std::ssize(image), SectorSize}, {AllTypes(), {}, {}, {}}, {}).files;
}

// Fixtures that are given another extension than their own: a synonym, or a more exact one. A maker's name alone does
// not make a raw.
std::string ExtensionFor(const std::string& name) {
    const std::string extension = fs::path(name).extension().string().substr(1);
    static const std::map<std::string, std::string> others{{"m2ts", "mts"},   {"html", "htm"}, {"psb", "psd"},
                                                           {"xhtml", "html"}, {"vob", "mpg"},  {"arw", "tif"},
                                                           {"dcr", "tif"}};
    const auto other = others.find(extension);
    return other == others.end() ? extension : other->second;
}

// Part of a file, and TIFFs followed by a byte of padding.
const std::set<std::string> NotExact{"cut.cr2", "maker.nef", "maker.pef"};

// Fixtures at cluster starts; the rest of their last clusters, and one cluster between them, is zeros or noise.
class FixturesOnAMedium : public testing::TestWithParam<bool> {
protected:
    FixturesOnAMedium() {
        ::test::Noise noise(7);
        const auto fill = [&](std::size_t count) {
            const Bytes between = GetParam() ? noise.Random(count) : Bytes(count);
            image.insert(image.end(), between.begin(), between.end());
        };
        fill(ClusterBytes);
        for (const Sample& sample : Samples()) {
            starts[std::ssize(image) / SectorSize] = &sample;
            image.insert(image.end(), sample.bytes.begin(), sample.bytes.end());
            fill(2 * ClusterBytes - image.size() % ClusterBytes);
        }
    }

    Bytes image;
    std::map<std::int64_t, const Sample*> starts;
};

TEST_P(FixturesOnAMedium, ComeOutAsTheyWere) {
    std::set<std::string> missing;
    for (const Sample& sample : Samples()) {
        missing.insert(sample.name);
    }
    std::string wrong;
    for (const PlannedFile& file : FilesOn(image)) {
        const auto sample = starts.find(file.StartSector());
        ASSERT_NE(sample, starts.end()) << file.path << " of " << file.Size() << ": " << file.finding.why;
        const auto& [name, bytes] = *sample->second;
        if (file.Size() == std::ssize(bytes) && ExtensionOf(file.finding) == ExtensionFor(name) &&
            file.finding.verdict <= Verdict::Open) {
            missing.erase(name);
        } else {
            wrong += fmt::format("{} of {}: {} of {}, {}: {}\n", name, bytes.size(), file.path, file.Size(),
                                 VerdictName(file.finding.verdict), file.finding.why.Text());
        }
    }
    EXPECT_EQ(missing, NotExact) << wrong;
}

INSTANTIATE_TEST_SUITE_P(Gaps, FixturesOnAMedium, testing::Bool(),
                         [](const auto& tested) { return tested.param ? "noise" : "zeros"; });

// Up to 2 % of a file's bytes are changed, and the medium's end cuts it.
TEST(EveryValidator, EndsOnDamagedFilesWithASizeThatTheMediumHas) {
    NeverStops observer;
    std::map<Verdict, std::size_t> verdicts;
    for (const Sample& sample : Samples()) {
        ::test::Noise noise(sample.bytes.size());
        for (int round = 0; round < 20; ++round) {
            Bytes image = sample.bytes;
            for (std::uint64_t changes = 1 + noise.Below(image.size() / 50 + 1); changes > 0; --changes) {
                constexpr std::uint8_t values[] = {0x00, 0x01, 0x7F, 0x80, 0xFF};
                image[16 + noise.Below(image.size() - 16)] = values[noise.Below(std::size(values))];
            }
            image.resize(image.size() - (round % 2 == 0 ? 0 : noise.Below(image.size() / 2)));
            Medium medium(std::make_unique<test::FakeDevice>(image), SectorSize);
            Sightings seen;
            seen.starts = {0};
            seen.AddTextStart(0);
            seen.finds = {{FileTypeIndex::Doc, 0, 100000000}};
            for (const Outcome& outcome : ValidateFinds(medium, seen, {}, observer).outcomes) {
                ASSERT_GE(outcome.finding.size, 0) << sample.name << " in round " << round;
                ASSERT_LE(outcome.finding.size, std::ssize(image)) << sample.name << " in round " << round;
                ++verdicts[outcome.finding.verdict];
            }
        }
    }
    EXPECT_EQ(verdicts.size(), 5U);
}

class NoiseOnAMedium : public testing::TestWithParam<::test::NoiseKind> {};

TEST_P(NoiseOnAMedium, HoldsNoFileButText) {
    std::vector<Bytes> files;
    std::ranges::transform(Samples(), std::back_inserter(files), &Sample::bytes);
    for (const PlannedFile& file : FilesOn(::test::MakeNoise(GetParam(), std::size_t{64} << 20U, files))) {
        EXPECT_TRUE(GetParam().isText && IsPlainText(file.finding))
            << file.path << " of " << file.Size() << ": " << file.finding.why;
    }
}

INSTANTIATE_TEST_SUITE_P(Kinds, NoiseOnAMedium, testing::ValuesIn(::test::NoiseKinds),
                         [](const auto& tested) { return tested.param.name; });

}  // namespace

}  // namespace salvor
