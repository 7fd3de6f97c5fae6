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
    /// What a file's first sector begins with.
    Bytes head;
    bool headInAnyCase;
    /// A smaller sector is never a header, in bytes.
    std::int32_t smallestSector;
    /// What a file ends with.
    Bytes tail;
    /// So many bytes behind the tail, in the same sector, may not all be text; 0: they do not matter.
    std::int32_t decidingBytes;
    /// A shorter file is not reported, in bytes.
    std::int64_t minLength;
    /// The default size cap, in bytes.
    std::int64_t cap;
};
std::ostream& operator<<(std::ostream& out, const RunFormat& format);

const std::vector<RunFormat>& RunFormats();

/// A file of the format, `size` bytes from the first byte of the head to the last of the tail.
Bytes RunFile(const RunFormat& format, std::size_t size);

/// The run rule byte by byte, slow and plain: what a scan of the whole medium reports.
std::vector<Found> ReferenceRun(const RunFormat& format, const Medium& medium, std::int64_t maxSize);

}  // namespace test
