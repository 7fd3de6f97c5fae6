#include "host/scan/start_finder.h"

#include <algorithm>
#include <bit>
#include <limits>

namespace salvor {

namespace {

// All signatures are within this many bytes of a file's start, and so within any sector.
constexpr std::size_t HeadBytes = 512;

// The requirement of a signature on one byte; none where the mask is 0.
struct WantedByte {
    std::uint8_t value = 0;
    std::uint8_t mask = 0;
    bool Is(std::uint8_t byte) const { return ((byte ^ value) & mask) == 0; }
};

WantedByte WantedAt(const StartSignature& signature, std::size_t offset) {
    if (offset < signature.offset || offset >= signature.offset + signature.bytes.size()) {
        return {};
    }
    const std::size_t i = offset - signature.offset;
    return {static_cast<std::uint8_t>(signature.bytes[i]), signature.MaskOf(i)};
}

bool FitsPair(const StartSignature& signature, std::size_t at, std::uint32_t pair) {
    return WantedAt(signature, at).Is(static_cast<std::uint8_t>(pair)) &&
           WantedAt(signature, at + 1).Is(static_cast<std::uint8_t>(pair >> 8U));
}

// How often the two bytes at an offset match although the signature does not. Media are full of zeros.
int WeightOf(const StartSignature& signature, std::size_t at) {
    const int freeBits =
        16 - std::popcount(WantedAt(signature, at).mask) - std::popcount(WantedAt(signature, at + 1).mask);
    return (1 << freeBits) + (FitsPair(signature, at, 0) || FitsPair(signature, at, 0xFFFF) ? 0x10000 : 0);
}

}  // namespace

StartFinder::StartFinder(std::span<const Validator* const> validators, std::int32_t sectorSize,
                         std::int64_t mediumBytes)
    : sectorSize_(sectorSize),
      wholeSectors_(mediumBytes / sectorSize),
      lastBytes_(static_cast<std::size_t>(mediumBytes % sectorSize)) {
    for (const Validator* const validator : validators) {
        for (const StartSignature& signature : validator->starts) {
            if (!signature.bytes.empty() && signature.offset + signature.bytes.size() <= HeadBytes) {
                signatures_.push_back({validator, signature});
                AddProbe(signature);
            }
        }
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

void StartFinder::AddProbe(const StartSignature& signature) {
    const std::size_t from = signature.offset > 0 ? signature.offset - 1 : 0;
    const std::size_t to = std::min(signature.offset + signature.bytes.size(), HeadBytes - 1);
    std::size_t best = from;
    int least = std::numeric_limits<int>::max();
    for (std::size_t at = from; at < to; ++at) {
        // Each additional offset costs time in every sector.
        const bool isProbed = std::ranges::find(probes_, at, &Probe::offset) != probes_.end();
        if (const int weight = 2 * WeightOf(signature, at) - (isProbed ? 1 : 0); weight < least) {
            least = weight;
            best = at;
        }
    }
    auto probe = std::ranges::find(probes_, best, &Probe::offset);
    if (probe == probes_.end()) {
        probe = probes_.insert(probes_.end(), {best, std::vector<std::uint64_t>(0x10000 / 64)});
    }
    const WantedByte low = WantedAt(signature, best);
    const WantedByte high = WantedAt(signature, best + 1);
    for (std::uint32_t first = 0; first < 0x100; ++first) {
        for (std::uint32_t second = 0; low.Is(static_cast<std::uint8_t>(first)) && second < 0x100; ++second) {
            if (high.Is(static_cast<std::uint8_t>(second))) {
                const std::uint32_t pair = second << 8U | first;
                probe->values[pair / 64] |= std::uint64_t{1} << (pair % 64);
            }
        }
    }
}

}  // namespace salvor
