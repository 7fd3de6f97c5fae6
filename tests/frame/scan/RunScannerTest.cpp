#include "frame/scan/RunScanner.h"

#include <gtest/gtest.h>

#include <cctype>

#include "tests/support/RunFormats.h"

namespace {

using namespace test;

// The rules that every run scanner of the registry follows, each with its own patterns and lengths.
class RunScannerTest : public testing::TestWithParam<RunFormat> {
protected:
    const RunFormat& format = GetParam();

    Finds ScanFile(std::int64_t size, std::int32_t sectorSize = 520, std::int64_t maxSize = 0) const {
        Medium medium(sectorSize);
        medium.Put(3, RunFile(format, static_cast<std::size_t>(size)));
        return Scan(format.index, medium, 0, maxSize);
    }
    // Sectors that hold nothing but heads.
    Finds ScanHeads(std::int32_t sectorSize, std::initializer_list<std::int64_t> sectors) const {
        Medium medium(sectorSize);
        for (const std::int64_t sector : sectors) {
            Bytes head = format.head;
            head.resize(std::min(head.size(), static_cast<std::size_t>(sectorSize)));
            medium.Put(sector, head);
        }
        return Scan(format.index, medium);
    }
};

TEST_P(RunScannerTest, ReportsFromTheMinimumLengthOn) {
    EXPECT_EQ(ScanFile(format.minLength - 1), Finds{});
    EXPECT_EQ(ScanFile(format.minLength), (Finds{{3, format.minLength}}));
    EXPECT_EQ(ScanFile(format.minLength + 1), (Finds{{3, format.minLength + 1}}));
}

TEST_P(RunScannerTest, SeesATailOnlyInFrontOfTheSectorsLastByte) {
    const std::int64_t sectors = 40;
    const std::int64_t lastSeen = sectors * 512 - 1 - format.decidingBytes;
    for (const std::int64_t size : {lastSeen, lastSeen + 1, sectors * 512, sectors * 512 + 1}) {
        Medium medium;
        medium.Put(0, RunFile(format, static_cast<std::size_t>(size))).Put(sectors + 4, format.tail);
        const std::int64_t later = (sectors + 4) * 512 + static_cast<std::int64_t>(format.tail.size());
        const Finds expected{{0, size == lastSeen ? size : later}};
        EXPECT_EQ(ScanAtEverySplit(format.index, medium), expected) << size;
    }
}

TEST_P(RunScannerTest, AHeaderClosesTheOpenRunAndOpensTheNext) {
    const std::int64_t enough = format.minLength / 128;
    EXPECT_EQ(ScanHeads(128, {2, 2 + enough}), (Finds{{2, format.minLength}}));
    EXPECT_EQ(ScanHeads(128, {2, 1 + enough}), Finds{});
    EXPECT_EQ(ScanHeads(128, {2, 3, 3 + enough}), (Finds{{3, format.minLength}}));
}

TEST_P(RunScannerTest, NeedsTheWholeHeadInASectorOfTheSmallestSize) {
    const std::int64_t enough = (format.minLength + format.smallestSector - 1) / format.smallestSector;
    EXPECT_EQ(ScanHeads(format.smallestSector, {0, enough}), (Finds{{0, enough * format.smallestSector}}));
    EXPECT_EQ(ScanHeads(format.smallestSector - 1, {0, 2 * enough}), Finds{});

    for (std::size_t i = 0; i < format.head.size(); ++i) {
        Bytes file = RunFile(format, 20000);
        file[i] ^= 0x20;
        Medium medium;
        medium.Put(0, file);
        const bool isLetter = std::isalpha(format.head[i]) != 0;
        EXPECT_EQ(Scan(format.index, medium).size(), format.headInAnyCase && isLetter ? 1U : 0U) << "byte " << i;
    }
}

TEST_P(RunScannerTest, CapsTheSizeExactlyAndKeepsTheRunOpen) {
    EXPECT_EQ(ScanFile(20000, 520, 20000), (Finds{{3, 20000}}));
    EXPECT_EQ(ScanFile(20001, 520, 20000), (Finds{{3, 20000}}));
    EXPECT_EQ(ScanFile(format.cap, 520), (Finds{{3, format.cap}}));
    EXPECT_EQ(ScanFile(format.cap + 9000, 520), (Finds{{3, format.cap}}));
}

TEST_P(RunScannerTest, ANewScannerIsAsAfterResetAndACapLastsUntilThen) {
    Medium medium;
    medium.Put(0, RunFile(format, 20000));
    const SectorBlock block = BlockOf(medium);
    const SectorBlock afterHeader = BlockOf(medium, 1, medium.SectorCount() - 1);
    const TypePtr type = CreateType(format.index);
    RecordingSink sink;
    for (const std::int64_t maxSize : {0, 1000, 1000, 0}) {
        if (maxSize != 0) {
            type->SetMaxFileSize(maxSize);
        }
        type->ScanBlock(&afterHeader, &sink);
        type->ScanBlock(&block, &sink);
    }
    EXPECT_EQ(type->Reset(), 1);
    type->ScanBlock(&block, &sink);
    EXPECT_EQ(sink.finds, (Finds{{0, 20000}, {0, 1000}, {0, 1000}, {0, 1000}, {0, 20000}}));
}

TEST_P(RunScannerTest, EmptyBlocksAndOtherScannersLeaveTheOpenRunAloneAndEndScanDropsIt) {
    Medium medium;
    medium.Put(0, RunFile(format, 20000));
    const SectorBlock start = BlockOf(medium, 0, 10);
    const SectorBlock rest = BlockOf(medium, 10, medium.SectorCount() - 10);
    SectorBlock none = BlockOf(medium, 0, 0);
    SectorBlock negative = BlockOf(medium, 0, -7);
    none.data = nullptr;
    const TypePtr type = CreateType(format.index);
    const TypePtr other = CreateType(format.index);
    RecordingSink sink;
    const SectorBlock* const blocks[] = {&none, &start, &none, &negative, &rest};
    for (const SectorBlock* block : blocks) {
        type->ScanBlock(block, &sink);
        if (block != &start) {
            other->ScanBlock(block, &sink);
        }
        other->SetMaxFileSize(1);
        other->EndScan();
    }
    EXPECT_EQ(sink.finds, (Finds{{0, 20000}}));

    for (const auto drop : {&IRawFileType::EndScan, &IRawFileType::BeginScan, &IRawFileType::Reset}) {
        sink.finds.clear();
        type->ScanBlock(&start, &sink);
        EXPECT_EQ((type.get()->*drop)(), 1);
        type->ScanBlock(&rest, &sink);
        EXPECT_EQ(sink.finds, Finds{});
    }
}

// A medium on which heads, tails, pieces of both and near misses are frequent.
Medium DenseMedium(const RunFormat& format, Noise& noise) {
    // A third of the sectors have sizes around the limits of the header and footer tests.
    const auto sectorSize = static_cast<std::int32_t>(
        noise.Below(3) == 0 ? std::max(1, format.smallestSector - 2) + static_cast<std::int32_t>(noise.Below(6))
                            : 1 + static_cast<std::int32_t>(noise.Below(600)));
    const std::int64_t sectors = 1 + static_cast<std::int64_t>(noise.Below(60000)) / sectorSize;
    Bytes bytes(static_cast<std::size_t>(sectors * sectorSize), 'x');
    const auto place = [&](std::size_t at, Bytes pattern) {
        if (noise.Below(4) == 0) {
            pattern[noise.Below(pattern.size())] ^= noise.Below(2) == 0 ? std::uint8_t{0x20} : std::uint8_t{0x01};
        }
        for (std::size_t i = 0; i < pattern.size() && at + i < bytes.size(); ++i) {
            bytes[at + i] = pattern[i];
        }
    };
    const auto size = static_cast<std::size_t>(sectorSize);
    for (std::uint64_t heads = noise.Below(8) + 1; heads > 0; --heads) {
        place(noise.Below(static_cast<std::uint64_t>(sectors)) * size, format.head);
    }
    for (std::uint64_t tails = noise.Below(noise.Below(2) == 0 ? 4 : 30); tails > 0; --tails) {
        // Half of them around a sector's end; some overwrite an earlier one and leave a partial mark of it.
        const std::size_t sector = noise.Below(static_cast<std::uint64_t>(sectors)) * size;
        const std::size_t at = noise.Below(2) == 0 ? sector + noise.Below(size)
                                                   : sector + size - std::min<std::size_t>(size, noise.Below(28));
        place(at, format.tail);
        if (noise.Below(3) == 0) {
            place(at + 1 + noise.Below(format.tail.size()), format.tail);
        }
        for (std::uint64_t changed = noise.Below(4); changed > 0; --changed) {
            const std::size_t behind = at + format.tail.size() + noise.Below(5);
            if (behind < bytes.size()) {
                constexpr std::uint8_t values[] = {0x00, 0x08, 0x09, 0x0A, 0x0D, 0x1F, 0x20, 0x7F, 0x80, 0xFF};
                bytes[behind] = values[noise.Below(std::size(values))];
            }
        }
    }
    return Medium(sectorSize, std::move(bytes));
}

TEST_P(RunScannerTest, AgreesWithTheReferenceOnDenseMedia) {
    Noise noise(static_cast<std::uint64_t>(format.index));
    const TypePtr type = CreateType(format.index);
    std::size_t reports = 0;
    for (int round = 0; round < 6000; ++round) {
        Medium medium = DenseMedium(format, noise);
        const std::int64_t maxSize =
            noise.Below(2) == 0 ? format.cap : format.minLength + static_cast<std::int64_t>(noise.Below(3000));
        const Finds expected = ReferenceRun(format, medium, maxSize);
        ASSERT_EQ(Scan(*type, medium, RandomBlocks(medium, noise), maxSize), expected)
            << "round " << round << ", sectors of " << medium.SectorSize();
        reports += expected.size();
    }
    EXPECT_GT(reports, 500U) << "the media have become too thin to test anything";
}

INSTANTIATE_TEST_SUITE_P(Formats, RunScannerTest, testing::ValuesIn(RunFormats()),
                         [](const auto& tested) { return tested.param.name; });

}  // namespace
