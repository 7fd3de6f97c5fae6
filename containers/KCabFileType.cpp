#include "containers/KCabFileType.h"

namespace {

constexpr std::size_t CabinetSize = 8;

}  // namespace

std::optional<std::int64_t> KCabFileType::Measure(const Candidate& candidate) {
    // Signed: 2 GiB and more are no size.
    const auto size = static_cast<std::int32_t>(LoadLittle<std::uint32_t>(candidate.sector, CabinetSize));
    return size != 0 ? std::optional<std::int64_t>(size) : std::nullopt;
}
