#pragma once

#include <cstdint>

#include "frame/scan/MeasuringScanner.h"

/// A measuring scanner that remembers parts of the medium from one candidate to the next, or counts the cost of its
/// walks. `Memory` has `Reset()`, for another scan, and `EnterBlock(const SectorBlock&)`.
template <class Self, class Memory, class Base = MeasuringScanner<Self>>
class RememberingScanner : public Base {
public:
    std::int32_t Reset() override {
        memory_.Reset();
        return Base::Reset();
    }

    void ScanBlock(const SectorBlock* block, IFoundFileSink* sink) override {
        memory_.EnterBlock(*block);
        Base::ScanBlock(block, sink);
    }

protected:
    Memory memory_;
};
