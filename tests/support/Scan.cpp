#include "tests/support/Scan.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "frame/contract/IRawFileTypeFactory.h"

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
    return SectorBlock{Medium::StreamStart + first, medium.Data().data() + first * medium.SectorSize(),
                       static_cast<std::int32_t>(count), medium.SectorSize(), &medium};
}

std::vector<Found> Scan(IRawFileType& type, Medium& medium, std::int64_t blockSectors, std::int64_t maxSize) {
    RecordingSink sink;
    type.BeginScan();
    if (maxSize != 0) {
        type.SetMaxFileSize(maxSize);
    }
    const std::int64_t step = blockSectors == 0 ? std::max<std::int64_t>(medium.SectorCount(), 1) : blockSectors;
    for (std::int64_t first = 0; first < medium.SectorCount(); first += step) {
        const SectorBlock block = BlockOf(medium, first, std::min(step, medium.SectorCount() - first));
        type.ScanBlock(&block, &sink);
    }
    type.EndScan();
    return sink.finds;
}

std::vector<Found> Scan(std::int32_t index, Medium& medium, std::int64_t blockSectors, std::int64_t maxSize) {
    const TypePtr type = CreateType(index);
    if (!type) {
        ADD_FAILURE() << "index " << index << " has no scanner";
        return {};
    }
    return Scan(*type, medium, blockSectors, maxSize);
}

std::vector<Found> ScanAtEverySplit(std::int32_t index, Medium& medium) {
    const std::vector<Found> whole = Scan(index, medium);
    for (std::int64_t blockSectors = 1; blockSectors < medium.SectorCount(); ++blockSectors) {
        EXPECT_EQ(Scan(index, medium, blockSectors), whole) << "in blocks of " << blockSectors << " sectors";
    }
    return whole;
}

}  // namespace test
