#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>
#include <vector>

#include "bench/Streams.h"
#include "frame/contract/IFoundFileSink.h"
#include "frame/contract/IRawFileType.h"
#include "frame/contract/IRawFileTypeFactory.h"
#include "host/scan/block_slices.h"

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

/// Feeds the same bytes to scanners over and over, as one scan of a medium that repeats them, cut as the host cuts it.
class Scan {
public:
    /// Borrows the bytes and the source, through which the scanners read beyond a block.
    Scan(const std::vector<std::int32_t>& indices, ByteSpan bytes, ISectorSource& source)
        : bytes_(bytes), source_(source) {
        for (const std::int32_t index : indices) {
            types_.push_back({index, CreateType(index)});
            types_.back().scanner->BeginScan();
        }
    }

    /// Hands one sector to the scanners before the next pass.
    void Feed(const std::array<std::uint8_t, SectorBytes>& sector) { ScanBlock(sector); }

    void Pass() {
        for (std::size_t from = 0; from < bytes_.size(); from += BlockBytes) {
            ScanBlock(bytes_.subspan(from, std::min(BlockBytes, bytes_.size() - from)));
        }
    }

    /// Begins another scan, at the sectors after those of this one: families remember the last file they have found.
    void Restart() {
        for (const Type& type : types_) {
            type.scanner->BeginScan();
        }
    }

    std::int64_t Finds() const { return sink_.finds; }

private:
    struct Type {
        std::int32_t index;
        TypePtr scanner;
    };

    void ScanBlock(ByteSpan bytes) {
        const auto sectors = static_cast<std::int32_t>(bytes.size() / SectorBytes);
        const SectorBlock block{nextSector_, bytes.data(), sectors, SectorBytes, &source_};
        salvor::ScanInSlices(
            block, types_, [](const Type& type) { return type.index; },
            [this](const SectorBlock&) -> const std::vector<Type>& { return types_; },
            [this](const Type& type, const SectorBlock& part) { type.scanner->ScanBlock(&part, &sink_); });
        nextSector_ += sectors;
    }

    ByteSpan bytes_;
    ISectorSource& source_;
    CountingSink sink_;
    std::vector<Type> types_;
    std::int64_t nextSector_ = 1;
};

}  // namespace bench
