#pragma once

#include <benchmark/benchmark.h>

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

#include "bench/Streams.h"
#include "frame/contract/IFoundFileSink.h"
#include "frame/contract/IRawFileType.h"
#include "frame/contract/IRawFileTypeFactory.h"

namespace bench {

struct Releaser {
    void operator()(IRawFileType* type) const { type->Release(); }
};
using TypePtr = std::unique_ptr<IRawFileType, Releaser>;

inline TypePtr CreateType(std::int32_t index) { return TypePtr(GetRawFileTypeFactory()->Create(index)); }

class CountingSink : public IFoundFileSink {
public:
    std::int32_t ReportFound(const FoundFile* file) override {
        benchmark::DoNotOptimize(file->size);
        ++finds;
        return 1;
    }
    std::int64_t finds = 0;
};

/// Feeds the same bytes to scanners over and over, as one scan of a medium that repeats them.
class Scan {
public:
    /// Borrows the bytes and the source, through which the scanners read beyond a block.
    Scan(const std::vector<std::int32_t>& indices, ByteSpan bytes, ISectorSource& source)
        : bytes_(bytes), source_(source) {
        for (const std::int32_t index : indices) {
            types_.push_back(CreateType(index));
            types_.back()->BeginScan();
        }
    }

    /// Hands one sector to the scanners in front of the next pass.
    void Feed(const std::array<std::uint8_t, SectorBytes>& sector) { ScanBlock(sector); }

    void Pass() {
        for (std::size_t from = 0; from < bytes_.size(); from += BlockBytes) {
            ScanBlock(bytes_.subspan(from, BlockBytes));
        }
    }

    std::int64_t Finds() const { return sink_.finds; }

private:
    void ScanBlock(ByteSpan bytes) {
        const auto sectors = static_cast<std::int32_t>(bytes.size() / SectorBytes);
        const SectorBlock block{nextSector_, bytes.data(), sectors, SectorBytes, &source_};
        for (const TypePtr& type : types_) {
            type->ScanBlock(&block, &sink_);
        }
        nextSector_ += sectors;
    }

    ByteSpan bytes_;
    ISectorSource& source_;
    CountingSink sink_;
    std::vector<TypePtr> types_;
    std::int64_t nextSector_ = 1;
};

}  // namespace bench
