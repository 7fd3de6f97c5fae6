#include <gtest/gtest.h>

#include <string>

#include "frame/contract/FileTypeCatalog.h"
#include "tests/support/CrowdedMedia.h"
#include "tests/support/Registry.h"

// What scanners remember from one candidate to the next saves reading and changes no report: on media full of
// candidates that stand before the same bytes, files are found together as they are alone.

namespace {

using namespace test;

struct Kind {
    CrowdedMedia media;
    /// The largest file to report; 0 for the types' own.
    std::int64_t cap;
    /// Reports expected of all rounds.
    std::size_t fewest;
};

void PrintTo(const Kind& kind, std::ostream* out) { PrintTo(kind.media, out); }

class Together : public testing::TestWithParam<Kind> {};

TEST_P(Together, IsAsAlone) {
    const Kind& kind = GetParam();
    const CrowdedMedia& media = kind.media;
    Noise noise(media.bytes);
    std::size_t found = 0;
    for (int round = 0; round < media.rounds; ++round) {
        Medium medium(media.sectorSize, media.fill(noise, media.bytes));
        const Blocks blocks = RandomBlocks(medium, noise);
        for (std::int32_t index = 0; index < FileTypeCount; ++index) {
            if (FileTypeCatalog[static_cast<std::size_t>(index)].dependsOnBlocks) {
                continue;
            }
            const TypePtr type = CreateType(index);
            const Finds together = Scan(*type, medium, blocks, kind.cap);
            ASSERT_EQ(together, ScanAlone(*type, medium, kind.cap)) << "type " << index << ", round " << round;
            found += together.size();
        }
    }
    EXPECT_GT(found, kind.fewest);
}

INSTANTIATE_TEST_SUITE_P(Media, Together,
                         testing::Values(Kind{{"Fixtures", MixedFixtures, 512, 60 << 10, 60}, 0, 500},
                                         Kind{{"LargeSectors", MixedFixtures, 2048, 120 << 10, 15}, 0, 30},
                                         Kind{{"Audio", AudioMedium, 32, 70 << 10, 9}, 0, 8},
                                         Kind{{"Transport", TransportMedium, 512, 70 << 10, 20}, 0, 8},
                                         Kind{{"CutTransport", TransportMedium, 512, 71 << 10, 20}, 30000, 8},
                                         Kind{{"Program", ProgramMedium, 16, 70 << 10, 6}, 0, 4},
                                         Kind{{"CutProgram", ProgramMedium, 16, 71 << 10, 6}, 40000, 2},
                                         Kind{{"Mail", MailLike, 512, 30 << 10, 120}, 0, 200},
                                         Kind{{"CutMail", MailLike, 520, 52000, 120}, 9000, 80},
                                         Kind{{"Markup", MarkupMedium, 512, 60 << 10, 60}, 0, 200},
                                         Kind{{"Pdf", PdfMedium, 512, 60 << 10, 30}, 0, 200},
                                         Kind{{"Boxes", BoxMedium, 512, 300 << 10, 20}, 0, 300},
                                         Kind{{"Pictures", PictureMedium, 512, 256 << 10, 20}, 0, 100}),
                         [](const auto& tested) { return std::string(tested.param.media.name); });

}  // namespace
