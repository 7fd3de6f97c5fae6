#include "documents/KPSTFileType.h"

#include <algorithm>

namespace {

// The file's end, in files with 32-bit offsets and in those with 64-bit offsets, whose lower half is read. Each kind
// has something small where the other has its end.
constexpr std::size_t ShortEnd = 168;
constexpr std::size_t LongEnd = 184;

}  // namespace

std::optional<std::int64_t> KPSTFileType::Measure(const Candidate& candidate) {
    const auto endAt = [&](std::size_t offset) {
        return static_cast<std::int32_t>(LoadLittle<std::uint32_t>(candidate.sector, offset));
    };
    const std::int32_t size = std::max(endAt(ShortEnd), endAt(LongEnd));
    return size != 0 ? std::optional<std::int64_t>(size) : std::nullopt;
}
