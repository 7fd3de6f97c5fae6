#include "frame/scan/FamilyEngine.h"

#include <gtest/gtest.h>

#include "tests/support/Scan.h"

namespace {

using namespace test;

// Finds a file at every sector, whose first byte is its kind and whose second its size.
class ToyEngine final : public ReleasedAs<ToyEngine, FamilyEngine> {
public:
    static constexpr std::int64_t FirstKey = 0;

    ToyEngine() : ReleasedAs(FirstKey) {}
    std::int32_t Reset() override { return 1; }
    void SetMaxFileSize(std::int64_t size) override { maxSize = size; }
    void ScanBlock(const SectorBlock* block, IFoundFileSink* /*sink*/) override {
        ++scans;
        for (std::int32_t i = 0; i < block->sectorCount; ++i) {
            const std::uint8_t* const sector = block->data + static_cast<std::ptrdiff_t>(i) * block->sectorSize;
            AddFound(block->firstSector + i, sector[1], sector[0]);
        }
    }

    void Restart() {
        ClearFound();
        SetScannedBlockKey(FirstKey);
        scans = 0;
    }

    int scans = 0;
    std::int64_t maxSize = 1000;
};

template <std::int32_t... AllKinds>
class ToyType final : public FamilyMember<ToyType<AllKinds...>, ToyEngine> {
public:
    static constexpr FileTypeIdentity Identity{"Toy", "toy", CapInEngine, 0, 0};
    static constexpr std::int32_t Kinds[] = {AllKinds...};
};

class SharedEngineTest : public testing::Test {
protected:
    // The engine outlives a test.
    void SetUp() override { engine.Restart(); }

    template <std::int32_t... AllKinds>
    Finds ScanBlock(std::int64_t firstSector) {
        SectorBlock block = BlockOf(medium);
        block.firstSector = firstSector;
        RecordingSink sink;
        ToyType<AllKinds...> type;
        type.BeginScan();
        type.SetMaxFileSize(1);
        type.ScanBlock(&block, &sink);
        type.EndScan();
        for (Found& found : sink.finds) {
            found.startSector += Medium::StreamStart - firstSector;
        }
        return sink.finds;
    }

    Medium medium{2, {7, 10, 8, 20, 7, 30, 9, 40, 8, 50}};
    ToyEngine& engine = SharedEngine<ToyEngine>();
};

TEST_F(SharedEngineTest, ScansABlockOnceForAllTypesAndHandsOutEachKind) {
    EXPECT_EQ(ScanBlock<7>(1), (Finds{{0, 10}, {2, 30}}));
    EXPECT_EQ(ScanBlock<8>(1), (Finds{{1, 20}, {4, 50}}));
    EXPECT_EQ(ScanBlock<5>(1), Finds{});
    EXPECT_EQ((ScanBlock<9, 7, 8>(1)), (Finds{{3, 40}, {0, 10}, {2, 30}, {1, 20}, {4, 50}})) << "kind by kind";
    EXPECT_EQ(engine.scans, 1);
    EXPECT_EQ(engine.maxSize, 1000) << "a thin type's cap is not the engine's";
}

TEST_F(SharedEngineTest, KnowsABlockByItsFirstSectorAlone) {
    EXPECT_EQ(ScanBlock<7>(ToyEngine::FirstKey), Finds{}) << "the start key counts as scanned";
    EXPECT_EQ(engine.scans, 0);
    EXPECT_EQ(ScanBlock<7>(6), (Finds{{0, 10}, {2, 30}}));
    medium.Data()[1] = 99;
    EXPECT_EQ(ScanBlock<7>(6), (Finds{{0, 10}, {2, 30}})) << "the finds of the block before";
    EXPECT_EQ(ScanBlock<7>(5), (Finds{{0, 99}, {2, 30}}));
    EXPECT_EQ(ScanBlock<7>(6), (Finds{{0, 99}, {2, 30}}));
    EXPECT_EQ(ScanBlock<7>(ToyEngine::FirstKey), (Finds{{0, 99}, {2, 30}})) << "no longer the last block's key";
    EXPECT_EQ(engine.scans, 4);
}

TEST_F(SharedEngineTest, PassesOverABlockWithoutSectors) {
    ScanBlock<7>(6);
    for (const std::int32_t count : {0, -1}) {
        const SectorBlock empty{1, nullptr, count, 2, &medium};
        RecordingSink sink;
        ToyType<7>().ScanBlock(&empty, &sink);
        EXPECT_EQ(sink.finds, Finds{}) << count;
    }
    EXPECT_EQ(engine.scans, 1);
    EXPECT_EQ(ScanBlock<7>(1), (Finds{{0, 10}, {2, 30}})) << "its key is not taken over";
}

}  // namespace
