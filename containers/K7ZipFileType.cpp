#include "containers/K7ZipFileType.h"

namespace {

constexpr std::uint32_t StartHeaderBytes = 32;
// Both fields have 8 bytes, of which the lower 4 are read; the offset counts from behind the start header.
constexpr std::size_t NextHeaderOffset = 12;
constexpr std::size_t NextHeaderSize = 20;

}  // namespace

std::optional<std::int64_t> K7ZipFileType::Measure(const Candidate& candidate) {
    const ByteSpan header = candidate.RestOfBlock();
    if (header.size() < NextHeaderSize + sizeof(std::uint32_t)) {
        return std::nullopt;
    }
    // The sum wraps at 32 bits and turns negative from 2 GiB on, which is no size.
    return static_cast<std::int32_t>(StartHeaderBytes + LoadLittle<std::uint32_t>(header, NextHeaderOffset) +
                                     LoadLittle<std::uint32_t>(header, NextHeaderSize));
}
