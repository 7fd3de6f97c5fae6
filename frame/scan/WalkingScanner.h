#pragma once

#include <cstdint>
#include <optional>

#include "frame/read/Budget.h"
#include "frame/read/Candidate.h"
#include "frame/read/FileWindow.h"
#include "frame/read/SharedReader.h"
#include "frame/scan/RememberingScanner.h"

/// What the walks of a scan share.
struct WalkMemory {
    Budget budget;
    SharedReader reader;

    void Reset() {
        budget.Reset();
        reader.Reset();
    }
    void EnterBlock(const SectorBlock& block) {
        budget.EnterBlock(block);
        reader.EnterBlock(block);
    }
    void BeginWalk(const Candidate& /*candidate*/) { budget.BeginWalk(); }
    bool IsAtRest() const { return budget.IsAtRest(); }
};

/// A measuring scanner that follows a file's structure through a `FileWindow`.
///
/// `Self` has:
///   - `Identity`, `MinReportLength` and the header, as for `MeasuringScanner`;
///   - `WalkLimit`: no byte farther than this from the file's start is read;
///   - `std::optional<std::int64_t> Walk(FileWindow& file)`: the file's length in bytes; nothing if there is no file.
///
/// The cost of all walks is bounded; see `Budget`. `Memory` is a `WalkMemory` that may know more of the medium.
template <class Self, class Memory = WalkMemory>
class WalkingScanner : public RememberingScanner<Self, Memory> {
public:
    std::optional<std::int64_t> Measure(const Candidate& candidate) {
        this->memory_.BeginWalk(candidate);
        FileWindow file(candidate, Self::WalkLimit, this->memory_.budget, this->memory_.reader);
        return this->self().Walk(file);
    }
};
