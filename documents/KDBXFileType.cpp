#include "documents/KDBXFileType.h"

namespace {

constexpr std::size_t LastSegment = 124;
constexpr std::uint32_t BytesBehind = 4096;

}  // namespace

std::optional<std::int64_t> KDBXFileType::Measure(const Candidate& candidate) {
    // The sum wraps at 32 bits and turns negative from 2 GiB on, which is no size.
    const auto size = static_cast<std::int32_t>(LoadLittle<std::uint32_t>(candidate.sector, LastSegment) + BytesBehind);
    return size != 0 ? std::optional<std::int64_t>(size) : std::nullopt;
}
