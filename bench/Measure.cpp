#include "bench/Measure.h"

#include <bit>
#include <cstdint>
#include <ctime>

#include "bench/Streams.h"

namespace bench {

namespace {

constexpr std::size_t PageBytes = 4096;
// A buffer that stays in the second-level cache.
constexpr std::size_t CopyBytes = std::size_t{256} * 1024;

// The first address from `target` on that lies half a page from the position of `source` in its own page: some
// processors copy at half their speed between addresses that are close modulo a page.
std::uint8_t* HalfPageFrom(const std::uint8_t* source, std::uint8_t* target) {
    const auto distance = std::bit_cast<std::uintptr_t>(source) - std::bit_cast<std::uintptr_t>(target);
    return target + (distance + PageBytes / 2) % PageBytes;
}

}  // namespace

double ProcessorSeconds() { return static_cast<double>(std::clock()) / CLOCKS_PER_SEC; }

double SecondsToCopy(ByteSpan bytes) {
    // A round is long enough for a clock that counts microseconds, however short the range.
    const std::size_t passes = StreamBytes / bytes.size();
    Bytes buffer(CopyBytes + PageBytes);
    std::uint8_t* const target = HalfPageFrom(bytes.data(), buffer.data());
    double best = 0;
    for (int round = 0; round < 5; ++round) {
        const double start = ProcessorSeconds();
        for (std::size_t pass = 0; pass < passes; ++pass) {
            for (std::size_t from = 0; from < bytes.size(); from += CopyBytes) {
                std::memcpy(target, bytes.data() + from, std::min(CopyBytes, bytes.size() - from));
                benchmark::ClobberMemory();
            }
        }
        const double seconds = (ProcessorSeconds() - start) / static_cast<double>(passes);
        best = round == 0 ? seconds : std::min(best, seconds);
    }
    return best;
}

void ReportRates(benchmark::State& state, ByteSpan bytes, double bestSeconds, double copySeconds) {
    const auto size = static_cast<double>(bytes.size());
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytes.size()));
    state.counters["best"] =
        benchmark::Counter(size / bestSeconds, benchmark::Counter::kDefaults, benchmark::Counter::kIs1024);
    state.counters["of_memcpy"] = copySeconds / bestSeconds;
    state.counters["sector"] = benchmark::Counter(
        size / SectorBytes, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

}  // namespace bench
