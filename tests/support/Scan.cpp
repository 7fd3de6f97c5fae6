#include "tests/support/Scan.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <span>

#include "containers/KZipFileSearcher.h"
#include "frame/contract/IPassingScanner.h"
#include "frame/contract/IRawFileTypeFactory.h"
#include "frame/contract/IRestingScanner.h"
#include "frame/memory/ScanOffsets.h"
#include "frame/read/Budget.h"

namespace test {

TypePtr CreateType(std::int32_t index) { return TypePtr(GetRawFileTypeFactory()->Create(index)); }

std::ostream& operator<<(std::ostream& out, const Found& found) {
    return out << "{sector " << found.startSector << ", " << found.size << " bytes}";
}

std::int32_t RecordingSink::ReportFound(const FoundFile* file) {
    finds.push_back({file->startSector - Medium::StreamStart, file->size});
    return 1;
}

SectorBlock BlockOf(Medium& medium) { return BlockOf(medium, 0, medium.SectorCount()); }

SectorBlock BlockOf(Medium& medium, std::int64_t first, std::int64_t count) {
    return SectorBlock{Medium::StreamStart + medium.streamShift + first,
                       medium.Data().data() + first * medium.SectorSize(), static_cast<std::int32_t>(count),
                       medium.SectorSize(), &medium};
}

std::vector<Found> Scan(IRawFileType& type, Medium& medium, std::int64_t blockSectors, std::int64_t maxSize) {
    const std::int64_t step = blockSectors == 0 ? std::max<std::int64_t>(medium.SectorCount(), 1) : blockSectors;
    return Scan(type, medium, EvenBlocks(medium, step), maxSize);
}

std::vector<Found> Scan(std::int32_t index, Medium& medium, std::int64_t blockSectors, std::int64_t maxSize) {
    const TypePtr type = CreateType(index);
    if (!type) {
        ADD_FAILURE() << "index " << index << " has no scanner";
        return {};
    }
    return Scan(*type, medium, blockSectors, maxSize);
}

std::vector<Found> ScanAlone(IRawFileType& type, Medium& medium, std::int64_t maxSize) {
    ScanOffsets::everyBlockIsNew = true;
    Budget::isEndless = true;
    Finds finds = Scan(type, medium, 1, maxSize);
    ScanOffsets::everyBlockIsNew = false;
    Budget::isEndless = false;
    return finds;
}

Blocks EvenBlocks(const Medium& medium, std::int64_t blockSectors) {
    Blocks blocks;
    for (std::int64_t left = medium.SectorCount(); left > 0; left -= blocks.back()) {
        blocks.push_back(std::min(blockSectors, left));
    }
    return blocks;
}

Blocks RandomBlocks(const Medium& medium, Noise& noise) {
    Blocks blocks;
    for (std::int64_t left = medium.SectorCount(); left > 0; left -= blocks.back()) {
        const std::uint64_t longest = std::uint64_t{1} << noise.Below(12);
        blocks.push_back(std::min(static_cast<std::int64_t>(1 + noise.Below(longest)), left));
    }
    return blocks;
}

namespace {

bool HasWord(const IPassingScanner& passing, const SectorBlock& block) {
    std::array<HeaderWord, 16> words{};
    const std::int32_t count = passing.GetHeaderWords(words.data(), static_cast<std::int32_t>(words.size()));
    EXPECT_LE(count, std::ssize(words));
    const std::span all(words.data(), static_cast<std::size_t>(count));
    bool has = count == 0;
    for (std::int32_t i = 0; i < block.sectorCount; ++i) {
        has |= std::ranges::any_of(all, [&](const HeaderWord& word) {
            std::uint32_t bytes = 0;
            std::memcpy(&bytes, block.data + std::ptrdiff_t{i} * block.sectorSize + word.place, sizeof(bytes));
            return (bytes & word.mask) == word.value;
        });
    }
    return has;
}

// True if the scanner need not see the block, which it has passed if that is more than leaving it out.
bool LeavesOut(IRawFileType& type, const SectorBlock& block, bool isZero, bool isBehindZeros) {
    const auto& rest = dynamic_cast<const IRestingScanner&>(type);
    auto& passing = dynamic_cast<IPassingScanner&>(type);
    if (rest.IsAtRest(block.firstSector)) {
        return (isZero && rest.IsAtRest(block.firstSector + block.sectorCount)) || !HasWord(passing, block);
    }
    if (!isBehindZeros || !passing.PassesZeros()) {
        return false;
    }
    passing.PassZeros(block.firstSector, block.sectorCount, block.sectorSize);
    return true;
}

}  // namespace

std::vector<std::vector<Found>> ScanTogether(std::span<IRawFileType* const> types, Medium& medium, const Blocks& blocks,
                                             std::int64_t maxSize, bool leaveOut) {
    // Far enough apart for the largest file that a scanner can remember to end in between.
    constexpr std::int64_t sectorsBetweenScans = std::int64_t{1} << 32;
    static std::int64_t shift = 0;
    shift += sectorsBetweenScans;
    medium.streamShift = shift;
    // The one thing that outlives a scan and is reported in a later one: archives that wait for an end mark.
    SharedEngine<KZipFileSearcher>().EndScan();

    for (IRawFileType* type : types) {
        type->BeginScan();
        if (maxSize != 0) {
            type->SetMaxFileSize(maxSize);
        }
    }
    std::vector<RecordingSink> sinks(types.size());
    std::int64_t first = 0;
    bool wasZero = false;
    for (const std::int64_t count : blocks) {
        const SectorBlock block = BlockOf(medium, first, count);
        const std::span bytes(block.data, static_cast<std::size_t>(count * block.sectorSize));
        const bool isZero = std::ranges::all_of(bytes, [](std::uint8_t byte) { return byte == 0; });
        // All are asked before the first scans for its family.
        std::vector<bool> leavesOut;
        for (IRawFileType* type : types) {
            leavesOut.push_back(leaveOut && LeavesOut(*type, block, isZero, isZero && wasZero));
        }
        for (std::size_t i = 0; i < types.size(); ++i) {
            if (!leavesOut[i]) {
                types[i]->ScanBlock(&block, &sinks[i]);
            }
        }
        wasZero = isZero;
        first += count;
    }
    medium.streamShift = 0;

    std::vector<std::vector<Found>> finds;
    for (std::size_t i = 0; i < types.size(); ++i) {
        types[i]->EndScan();
        for (Found& found : sinks[i].finds) {
            found.startSector -= shift;
        }
        finds.push_back(sinks[i].finds);
    }
    return finds;
}

std::vector<Found> Scan(IRawFileType& type, Medium& medium, const Blocks& blocks, std::int64_t maxSize) {
    IRawFileType* const types[] = {&type};
    return ScanTogether(types, medium, blocks, maxSize).front();
}

std::vector<Found> ScanAtEverySplit(std::int32_t index, Medium& medium) {
    const std::vector<Found> whole = Scan(index, medium);
    for (std::int64_t blockSectors = 1; blockSectors < medium.SectorCount(); ++blockSectors) {
        EXPECT_EQ(Scan(index, medium, blockSectors), whole) << "in blocks of " << blockSectors << " sectors";
    }
    return whole;
}

void ExpectFiles(std::int32_t index, const std::vector<FileCase>& cases) {
    for (const FileCase& tested : cases) {
        Medium medium(tested.sectorSize);
        medium.Put(2, tested.file);
        medium.Grow(medium.SectorCount() + 2);
        for (const std::int64_t blockSectors : {0, 1, 5}) {
            EXPECT_EQ(Scan(index, medium, blockSectors, tested.maxSize),
                      tested.size == 0 ? Finds{} : (Finds{{2, tested.size}}))
                << tested.what << ", in blocks of " << blockSectors;
        }
    }
}

}  // namespace test
