#pragma once

#include <cstdint>

#include "frame/scan/MeasuringScanner.h"

/// A measuring scanner that remembers parts of the medium from one candidate to the next, or counts the cost of its
/// walks. `Memory` has `Reset()`, for another scan, `EnterBlock(const SectorBlock&)`, and `IsAtRest()`: a new one would
/// serve the same finds from the next block on.
template <class Self, class Memory, class Base = MeasuringScanner<Self>>
class RememberingScanner : public Base {
public:
    std::int32_t Reset() override {
        memory_.Reset();
        return Base::Reset();
    }

    void ScanBlock(const SectorBlock* block, IFoundFileSink* sink) override {
        if (block->sectorCount < 1) {
            return;
        }
        memory_.EnterBlock(*block);
        Base::ScanBlock(block, sink);
    }

    bool RestsAt(std::int64_t nextSector) const { return memory_.IsAtRest() && Base::RestsAt(nextSector); }

protected:
    Memory memory_;
};
