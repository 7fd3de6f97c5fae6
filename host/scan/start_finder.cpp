#include "host/scan/start_finder.h"

#include <algorithm>

namespace salvor {

StartFinder::StartFinder(std::span<const Validator* const> validators, std::int32_t sectorSize,
                         std::int64_t mediumBytes)
    : sectorSize_(sectorSize),
      wholeSectors_(mediumBytes / sectorSize),
      lastBytes_(static_cast<std::size_t>(mediumBytes % sectorSize)) {
    for (const Validator* const validator : validators) {
        for (const StartSignature& signature : validator->starts) {
            if (!signature.bytes.empty() && signature.offset + signature.bytes.size() <= PairProbes::Reach) {
                signatures_.push_back({validator, signature});
            }
        }
    }
}

void StartFinder::AddTo(PairProbes& probes) const {
    for (const auto& [validator, signature] : signatures_) {
        std::vector<WantedByte> wanted;
        for (std::size_t i = 0; i < signature.bytes.size(); ++i) {
            wanted.push_back({static_cast<std::uint8_t>(signature.bytes[i]), signature.MaskOf(i)});
        }
        probes.Add(signature.offset, wanted);
    }
}

bool StartFinder::IsStart(ByteSpan sector) const {
    return std::ranges::any_of(
        signatures_, [sector](const Own& own) { return own.signature.IsIn(sector) && own.validator->begins(sector); });
}

void StartFinder::SetBefore(ByteSpan sector) {
    const ByteSpan last = sector.last(std::min(sector.size(), PreviousTailBytes));
    tail_.assign(last.begin(), last.end());
}

}  // namespace salvor
