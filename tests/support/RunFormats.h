#pragma once

#include <cstdint>
#include <ostream>
#include <vector>

#include "tests/support/Medium.h"
#include "tests/support/Scan.h"

namespace test {

/// A format of the run scanners: its rule in numbers and bytes, apart from the scanner's own.
struct RunFormat {
    const char* name;
    std::int32_t index;
    /// The bytes that a file begins with.
    Bytes head;
    bool headInAnyCase;
    /// Smaller sectors are never headers; in bytes.
    std::int32_t smallestSector;
    /// The bytes that a file ends with.
    Bytes tail;
    /// This many bytes after the tail, in the same sector, must not all be text; 0 if they do not matter.
    std::int32_t decidingBytes;
    /// Shorter files are not reported; in bytes.
    std::int64_t minLength;
    /// The default size cap, in bytes.
    std::int64_t cap;
};
std::ostream& operator<<(std::ostream& out, const RunFormat& format);

const std::vector<RunFormat>& RunFormats();

/// A file of the format, `size` bytes from the first byte of the head to the last of the tail.
Bytes RunFile(const RunFormat& format, std::size_t size);

/// The run rule byte by byte, slow and plain: the finds of a scan of the whole medium.
std::vector<Found> ReferenceRun(const RunFormat& format, const Medium& medium, std::int64_t maxSize);

}  // namespace test
