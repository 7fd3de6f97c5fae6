#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <numeric>
#include <string>
#include <utility>

#include "containers/KZipFileSearcher.h"
#include "frame/contract/FileTypeCatalog.h"
#include "frame/contract/IRestingScanner.h"
#include "frame/scan/FamilyEngine.h"
#include "host/scan/merge.h"
#include "images/KTIFileType.h"
#include "tests/support/CrowdedMedia.h"
#include "tests/support/MergeScans.h"
#include "tests/support/Registry.h"

// A medium is scanned in segments, each with new scanners; those that are not at rest at the end go on alone. Put
// together, the finds are those of one scan.

namespace {

using namespace test;
using salvor::BlockRange;
using salvor::Find;
using salvor::MissingScan;
using salvor::ScanGrid;
using salvor::TypeScan;

IRestingScanner& RestOf(IRawFileType& type) { return dynamic_cast<IRestingScanner&>(type); }

// Scans as a new process does.
class NewScanners {
public:
    NewScanners(Medium& medium, const ScanGrid& grid, const std::vector<std::int32_t>& types, std::int64_t firstBlock)
        : medium_(medium), grid_(grid) {
        // State that outlives a scan: the last file, which a distant stream does not touch, and what two engines keep.
        static std::int64_t shift = 0;
        shift += std::int64_t{1} << 32;
        shift_ = shift;
        SharedEngine<KZipFileSearcher>().EndScan();
        SharedEngine<KTIFileType>().Reset();
        for (const std::int32_t type : types) {
            open_.push_back({CreateType(type), {.type = type, .blocks = {firstBlock, firstBlock}}});
            open_.back().scanner->BeginScan();
        }
    }

    /// Lets every scanner that still goes on scan a block.
    void ScanBlock(std::int64_t number) {
        const std::int64_t first = number * grid_.blockSectors;
        medium_.streamShift = shift_;
        const SectorBlock block = BlockOf(medium_, first, std::min(grid_.blockSectors, medium_.SectorCount() - first));
        for (Open& open : open_) {
            Sink sink(open.scan, first, shift_, order);
            open.scanner->ScanBlock(&block, &sink);
        }
        medium_.streamShift = 0;
        for (Open& open : open_) {
            const std::int64_t guesses = RestOf(*open.scanner).GuessCount();
            if (std::exchange(open.guesses, guesses) != guesses) {
                open.scan.guessed.push_back(number);
            }
            open.isAtRest = RestOf(*open.scanner).IsAtRest(block.firstSector + block.sectorCount);
            if (!open.isAtRest) {
                open.scan.restless.push_back({number + 1, number + 2});
            }
            open.scan.blocks.end = number + 1;
        }
    }

    /// Ends the scans of those for which `mayEnd(open)`.
    template <class MayEnd>
    void End(MayEnd&& mayEnd) {
        std::erase_if(open_, [&](Open& open) {
            if (mayEnd(open)) {
                done.push_back(open.scan);
                ended_.push_back(std::move(open.scanner));
                return true;
            }
            return false;
        });
    }
    bool GoOn() const { return !open_.empty(); }

    struct Open {
        TypePtr scanner;
        TypeScan scan;
        bool isAtRest = true;
        std::int64_t guesses = 0;
    };
    std::vector<TypeScan> done;
    /// All finds, as they were reported.
    std::vector<Find> order;

private:
    struct Sink : IFoundFileSink {
        Sink(TypeScan& taker, std::int64_t firstOfPart, std::int64_t shifted, std::vector<Find>& reports)
            : scan(taker), part(firstOfPart), shift(shifted), all(reports) {}
        std::int32_t ReportFound(const FoundFile* file) override {
            all.push_back({scan.type, file->startSector - Medium::StreamStart - shift, file->size});
            scan.finds.push_back({all.back(), part});
            return 1;
        }
        TypeScan& scan;
        std::int64_t part;
        std::int64_t shift;
        std::vector<Find>& all;
    };

    Medium& medium_;
    const ScanGrid& grid_;
    std::int64_t shift_ = 0;
    std::vector<Open> open_;
    // Released with the process.
    std::vector<TypePtr> ended_;
};

// How often scanners were at rest at a segment's end, and how many scans had to be repeated.
struct Tally {
    std::size_t ends = 0;
    std::size_t rests = 0;
    std::size_t again = 0;
};

std::vector<Find> InSegments(Medium& medium, const ScanGrid& grid, const std::vector<std::int64_t>& cuts,
                             std::int64_t mostAfter, Tally& tally) {
    std::vector<TypeScan> scans;
    const auto keep = [&](NewScanners& scanners) {
        std::ranges::move(scanners.done, std::back_inserter(scans));
    };
    for (std::size_t i = 0; i + 1 < cuts.size(); ++i) {
        NewScanners scanners(medium, grid, grid.types, cuts[i]);
        for (std::int64_t block = cuts[i]; scanners.GoOn() && block < grid.BlockCount(); ++block) {
            scanners.ScanBlock(block);
            if (block + 1 >= cuts[i + 1]) {
                const bool isLast = block + 1 >= cuts[i + 1] + mostAfter;
                scanners.End([&](const NewScanners::Open& open) {
                    tally.ends += block + 1 == cuts[i + 1] ? 1U : 0U;
                    tally.rests += block + 1 == cuts[i + 1] && open.isAtRest ? 1U : 0U;
                    return open.isAtRest || isLast;
                });
            }
        }
        scanners.End([](const auto&) { return true; });
        keep(scanners);
    }
    for (int round = 0; round < 100; ++round) {
        const MergedScan merged = MergeScans(grid, scans);
        if (merged.missing.empty()) {
            return merged.finds;
        }
        for (const MissingScan& missing : merged.missing) {
            ++tally.again;
            NewScanners scanners(medium, grid, {missing.type}, missing.from);
            for (std::int64_t block = missing.from; scanners.GoOn() && block < grid.BlockCount(); ++block) {
                scanners.ScanBlock(block);
                const bool isBorder = std::ranges::any_of(missing.borders, [&](const BlockRange& borders) {
                    return borders.first <= block + 1 && block + 1 < borders.end;
                });
                scanners.End([&](const NewScanners::Open& open) {
                    return isBorder && block + 1 >= missing.to && open.isAtRest;
                });
            }
            scanners.End([](const auto&) { return true; });
            keep(scanners);
        }
    }
    ADD_FAILURE() << "there is always another scan missing";
    return {};
}

ScanGrid GridOf(const Medium& medium, std::int64_t blockSectors) {
    ScanGrid grid{{0, medium.SectorCount()}, blockSectors, std::vector<std::int32_t>(FileTypeCount)};
    std::iota(grid.types.begin(), grid.types.end(), 0);
    return grid;
}

std::vector<Find> InOneScan(Medium& medium, const ScanGrid& grid) {
    NewScanners scanners(medium, grid, grid.types, 0);
    for (std::int64_t block = 0; block < grid.BlockCount(); ++block) {
        scanners.ScanBlock(block);
    }
    return scanners.order;
}

// Ascending, from the first border to the last.
std::vector<std::int64_t> RandomCuts(const ScanGrid& grid, Noise& noise) {
    std::vector<std::int64_t> cuts{0, grid.BlockCount()};
    for (std::uint64_t more = 1 + noise.Below(5); more > 0; --more) {
        cuts.push_back(static_cast<std::int64_t>(noise.Below(static_cast<std::uint64_t>(grid.BlockCount()))));
    }
    std::ranges::sort(cuts);
    cuts.erase(std::unique(cuts.begin(), cuts.end()), cuts.end());
    return cuts;
}

std::string Text(const std::vector<Find>& finds, std::size_t from) {
    std::string text;
    for (std::size_t i = from; i < std::min(finds.size(), from + 3); ++i) {
        text += std::to_string(finds[i].type) + ": " + std::to_string(finds[i].startSector) + " + " +
                std::to_string(finds[i].size) + "; ";
    }
    return text;
}

void ExpectSame(const std::vector<Find>& segments, const std::vector<Find>& one, const std::string& what) {
    const auto [a, b] = std::ranges::mismatch(segments, one);
    ASSERT_TRUE(a == segments.end() && b == one.end())
        << what << ": in segments " << Text(segments, static_cast<std::size_t>(a - segments.begin())) << "in one scan "
        << Text(one, static_cast<std::size_t>(b - one.begin()));
}

TEST(Segments, GiveEachFixtureAtEveryCut) {
    Tally tally;
    for (const Fixture& fixture : Fixtures()) {
        Medium medium(512, FixtureMedium(fixture.bytes));
        const ScanGrid grid = GridOf(medium, std::max<std::int64_t>(medium.SectorCount() / 12, 1));
        const std::vector<Find> one = InOneScan(medium, grid);
        for (std::int64_t cut = 1; cut < grid.BlockCount(); ++cut) {
            ExpectSame(InSegments(medium, grid, {0, cut, grid.BlockCount()}, grid.BlockCount(), tally), one,
                       fixture.name + " cut at " + std::to_string(cut));
        }
    }
    EXPECT_GT(tally.rests * 100, tally.ends * 98);
}

class CrowdedSegments : public testing::TestWithParam<CrowdedMedia> {};

TEST_P(CrowdedSegments, AreAsOneScan) {
    const CrowdedMedia& media = GetParam();
    Noise noise(media.bytes);
    Tally tally;
    for (int round = 0; round < media.rounds; ++round) {
        Medium medium(media.sectorSize, media.fill(noise, media.bytes));
        const ScanGrid grid = GridOf(medium, 1 + static_cast<std::int64_t>(noise.Below(round % 2 == 0 ? 3 : 20)));
        const std::vector<Find> one = InOneScan(medium, grid);
        for (int cut = 0; cut < 6; ++cut) {
            const std::int64_t mostAfter = noise.Below(2) == 0 ? grid.BlockCount() : std::int64_t(noise.Below(4));
            ExpectSame(InSegments(medium, grid, RandomCuts(grid, noise), mostAfter, tally), one,
                       "round " + std::to_string(round));
        }
    }
    EXPECT_GT(tally.rests * 100, tally.ends * 80);
}

INSTANTIATE_TEST_SUITE_P(Media, CrowdedSegments,
                         testing::Values(CrowdedMedia{"Fixtures", MixedFixtures, 512, 60 << 10, 40},
                                         CrowdedMedia{"LargeSectors", MixedFixtures, 2048, 120 << 10, 10},
                                         CrowdedMedia{"Audio", AudioMedium, 32, 70 << 10, 3},
                                         CrowdedMedia{"Transport", TransportMedium, 512, 70 << 10, 6},
                                         CrowdedMedia{"Program", ProgramMedium, 16, 70 << 10, 2},
                                         CrowdedMedia{"Mail", MailLike, 512, 30 << 10, 12},
                                         CrowdedMedia{"OddMail", MailLike, 520, 52000, 8},
                                         CrowdedMedia{"Boxes", BoxMedium, 512, 300 << 10, 4},
                                         CrowdedMedia{"Pictures", PictureMedium, 512, 256 << 10, 4},
                                         CrowdedMedia{"Remembered", RememberedFiles, 512, 40 << 10, 40}),
                         [](const auto& tested) { return std::string(tested.param.name); });

}  // namespace
