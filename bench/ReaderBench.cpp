#include <benchmark/benchmark.h>

#include <string>

#include "bench/Benches.h"
#include "bench/Measure.h"
#include "bench/Streams.h"
#include "frame/read/KFileSimulator.h"

namespace bench {

namespace {

// Reads a file from its first byte to its last in reads of one size. The reader has the file's first block already.
void ReadInOrder(benchmark::State& state, std::uint32_t readBytes) {
    const ByteSpan bytes(StreamOf(Content::Random));
    RepeatingSource source(bytes);
    const SectorBlock block{1, bytes.data(), BlockBytes / SectorBytes, SectorBytes, &source};
    Bytes buffer(readBytes);
    MeasurePasses(state, bytes, [&] {
        KFileSimulator reader(&block, block.firstSector, bytes.size());
        while (reader.Tell() < static_cast<std::int64_t>(bytes.size())) {
            reader.Read(buffer.data(), readBytes);
            benchmark::DoNotOptimize(buffer.data());
        }
    });
}

// What a scanner pays to look at the first bytes of a candidate.
void ReadHead(benchmark::State& state) {
    const ByteSpan bytes = ByteSpan(StreamOf(Content::Random)).first(BlockBytes);
    RepeatingSource source(bytes);
    const SectorBlock block{1, bytes.data(), BlockBytes / SectorBytes, SectorBytes, &source};
    std::array<std::uint8_t, 16> head{};
    for (auto _ : state) {
        KFileSimulator reader(&block, block.firstSector, 0);
        reader.Read(head.data(), head.size());
        benchmark::DoNotOptimize(head);
    }
}

}  // namespace

void RegisterReaderBenches() {
    // A page, and the piece in which the JPEG scanners search.
    for (const std::uint32_t readBytes : {4096U, 32256U}) {
        benchmark::RegisterBenchmark(("reader/" + std::to_string(readBytes)).c_str(), [=](benchmark::State& state) {
            ReadInOrder(state, readBytes);
        })->Unit(benchmark::kMillisecond);
    }
    benchmark::RegisterBenchmark("reader/head", ReadHead);
}

}  // namespace bench
