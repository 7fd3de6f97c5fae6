#pragma once

#include <cstdint>
#include <optional>

#include "frame/read/FileWindow.h"
#include "frame/read/WorkStore.h"
#include "frame/scan/RememberingScanner.h"

/// A measuring scanner that follows a file's structure through a `FileWindow`.
///
/// `Self` says:
///   - `Identity`, `MinReportLength` and the header, as for `MeasuringScanner`;
///   - `WalkLimit`: no byte farther than this from the file's start is looked at;
///   - `std::optional<std::int64_t> Walk(FileWindow& file)`: the file's length in bytes, if it is one.
///
/// What walks cost is bounded for media made of nothing but headers; see `WorkStore`.
template <class Self>
class WalkingScanner : public RememberingScanner<Self, WorkStore> {
public:
    std::optional<std::int64_t> Measure(const Candidate& candidate) {
        WorkMeter meter = this->memory_.NewMeter();
        FileWindow file(candidate, Self::WalkLimit, meter);
        const std::optional<std::int64_t> size = this->self().Walk(file);
        this->memory_.Settle(meter);
        return size;
    }
};
