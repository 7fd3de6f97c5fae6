#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <limits>

#include "frame/bytes/Bytes.h"

namespace bench {

/// Runs the benchmark's loop with `pass`, which works once through `bytes`, and reports its throughput: bytes per
/// second, seconds per sector, as `best` the bytes per second of the fastest pass and, as `of_memcpy`, its ratio to
/// copying the same bytes piece by piece into one buffer. The copy is timed right beside the pass, so that the ratio
/// holds on a busy machine too.
template <class Pass>
void MeasurePasses(benchmark::State& state, ByteSpan bytes, Pass&& pass);

/// Processor seconds that copying `bytes` takes, the best of a few rounds.
double SecondsToCopy(ByteSpan bytes);

/// Processor seconds of this process so far.
double ProcessorSeconds();

/// `bestSeconds` is the time of the fastest pass, `copySeconds` that of a copy.
void ReportRates(benchmark::State& state, ByteSpan bytes, double bestSeconds, double copySeconds);

template <class Pass>
void MeasurePasses(benchmark::State& state, ByteSpan bytes, Pass&& pass) {
    const double copySeconds = SecondsToCopy(bytes);
    // The clock's steps are too long to time a single pass over less, so the mean is reported in place of the best.
    constexpr std::size_t leastTimed = 1 << 20;
    const double start = ProcessorSeconds();
    double best = std::numeric_limits<double>::infinity();
    for (auto _ : state) {
        if (bytes.size() < leastTimed) {
            pass();
            continue;
        }
        const double passStart = ProcessorSeconds();
        pass();
        best = std::min(best, ProcessorSeconds() - passStart);
    }
    const double mean = (ProcessorSeconds() - start) / static_cast<double>(state.iterations());
    ReportRates(state, bytes, std::min(best, mean), copySeconds);
}

}  // namespace bench
