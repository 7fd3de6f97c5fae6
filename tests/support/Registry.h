#pragma once

#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "tests/support/Scan.h"

namespace test {

/// What the type of a factory index reported; sectors count from 0.
struct Claim {
    std::int32_t index;
    Found found;
    bool operator==(const Claim&) const = default;
};
std::ostream& operator<<(std::ostream& out, const Claim& claim);
using Claims = std::vector<Claim>;

/// Scans a medium with one scanner of every type together; the claims are in the order of the indices.
std::vector<Claim> ScanWithAllTypes(Medium& medium, const Blocks& blocks);

/// A file of samples/fixtures, or bytes built to look like one, and the types that report it.
struct Fixture {
    std::string name;
    std::vector<std::int32_t> types{};
    Bytes bytes{};
    /// Where it differs from what the type's rule says.
    std::optional<std::int64_t> reportedSize{};

    std::int64_t SizeReportedBy(std::int32_t type) const;
};
std::ostream& operator<<(std::ostream& out, const Fixture& fixture);

const std::vector<Fixture>& Fixtures();

/// The fixture at the start of a sector of 512 bytes, random bytes before and after; the rest of its last sector is
/// zeros.
inline constexpr std::int64_t FixtureSector = 5;
Bytes FixtureMedium(const Bytes& file);

}  // namespace test
