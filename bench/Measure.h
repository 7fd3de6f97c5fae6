#pragma once

#include <benchmark/benchmark.h>

#include "frame/Bytes.h"

namespace bench {

/// Runs the benchmark's loop with `pass`, which works once through `bytes`, and reports its throughput: bytes a second,
/// seconds a sector and, as `of_memcpy`, the ratio to copying the same bytes block by block into one buffer. The copy
/// is timed in the same breath, so that the ratio stands where the machine is busy with other things too.
template <class Pass>
void MeasurePasses(benchmark::State& state, ByteSpan bytes, Pass&& pass);

/// Processor seconds that copying `bytes` takes, the best of a few rounds.
double SecondsToCopy(ByteSpan bytes);

/// Processor seconds of this process so far.
double ProcessorSeconds();

void ReportRates(benchmark::State& state, ByteSpan bytes, double seconds, double copySeconds);

template <class Pass>
void MeasurePasses(benchmark::State& state, ByteSpan bytes, Pass&& pass) {
    const double copySeconds = SecondsToCopy(bytes);
    const double start = ProcessorSeconds();
    for (auto _ : state) {
        pass();
    }
    ReportRates(state, bytes, ProcessorSeconds() - start, copySeconds);
}

}  // namespace bench
