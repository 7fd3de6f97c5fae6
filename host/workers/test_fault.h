#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "host/medium/sector_ranges.h"

namespace salvor {

/// Makes a worker fail for tests: "crash", "hang", "memory" or "open", and where: "crash:46:2048" for subject 46 at
/// sector 2048; without these, anywhere. With "unfiltered" it behaves as on a kernel without filters.
class TestFault {
public:
    /// The fault that the environment variable SALVOR_TEST_FAULT asks for.
    static std::optional<TestFault> Ordered();
    bool HasNoFilter() const { return kind_ == "unfiltered"; }
    /// Fails if this is the right place.
    void Strike(SectorRange sectors, std::int32_t subject) const;

private:
    std::string kind_;
    std::optional<std::int64_t> subject_;
    std::optional<std::int64_t> sector_;
};

}  // namespace salvor
