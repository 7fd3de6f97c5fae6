#pragma once

#include <cstdint>
#include <ostream>
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

/// A file, or bytes built to look like one, and the types that report it.
struct Fixture {
    const char* name;
    std::vector<std::int32_t> types;
    /// Null: the bytes of samples/fixtures/<name>.
    Bytes (*build)();
    /// The size to be reported; null: the file's own.
    std::int64_t (*sizeOf)(const Bytes& file) = nullptr;

    Bytes Load() const;
    std::int64_t ReportedSize(const Bytes& file) const;
};
std::ostream& operator<<(std::ostream& out, const Fixture& fixture);

const std::vector<Fixture>& Fixtures();

/// The fixture at the start of a sector of 512 bytes, random bytes before and behind; the rest of its last sector is
/// zeros.
inline constexpr std::int64_t FixtureSector = 5;
Bytes FixtureMedium(const Bytes& file);

}  // namespace test
