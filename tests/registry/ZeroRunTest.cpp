#include <gtest/gtest.h>

#include "frame/contract/IRestingScanner.h"
#include "images/KTIFileType.h"
#include "tests/support/CrowdedMedia.h"
#include "tests/support/Registry.h"

// A host leaves out what scanners need not see: zeros, and blocks without a header of their type.

namespace {

using namespace test;

struct AllTypes {
    AllTypes() {
        for (std::int32_t index = 0; index < FileTypeCount; ++index) {
            owned.push_back(CreateType(index));
            types.push_back(owned.back().get());
        }
    }
    std::vector<TypePtr> owned;
    std::vector<IRawFileType*> types;
};

TEST(ZeroRuns, LeaveNewScannersAtRest) {
    const AllTypes all;
    Medium medium(512, Bytes(std::size_t{300} * 512));
    for (IRawFileType* const type : all.types) {
        type->BeginScan();
        RecordingSink sink;
        for (std::int64_t first = 0; first < 300; first += 30) {
            const SectorBlock block = BlockOf(medium, first, 30);
            type->ScanBlock(&block, &sink);
            EXPECT_TRUE(dynamic_cast<const IRestingScanner&>(*type).IsAtRest(block.firstSector + 30));
        }
        type->EndScan();
        EXPECT_TRUE(sink.finds.empty());
    }
}

TEST(ZeroRuns, AndBlocksWithoutHeadersNeedNotBeShown) {
    const AllTypes all;
    Noise noise(2025);
    for (int round = 0; round < 60; ++round) {
        Bytes bytes;
        for (std::uint64_t pieces = 2 + noise.Below(6); pieces > 0; --pieces) {
            const Bytes crowd = MixedFixtures(noise, 512 * (1 + noise.Below(40)));
            bytes.insert(bytes.end(), crowd.begin(), crowd.end());
            bytes.resize(bytes.size() + 512 * noise.Below(60));
        }
        Medium medium(512, bytes);
        const Blocks blocks = EvenBlocks(medium, 1 + static_cast<std::int64_t>(noise.Below(12)));
        // The numbers of the last TIFF outlive a scan.
        SharedEngine<KTIFileType>().Reset();
        const auto passing = ScanTogether(all.types, medium, blocks, 0, true);
        SharedEngine<KTIFileType>().Reset();
        const auto seeing = ScanTogether(all.types, medium, blocks);
        for (std::size_t type = 0; type < seeing.size(); ++type) {
            EXPECT_EQ(passing[type], seeing[type]) << "type " << type << ", round " << round;
        }
    }
}

}  // namespace
