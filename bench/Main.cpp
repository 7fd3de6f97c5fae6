#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "bench/Benches.h"

int main(int argc, char** argv) {
    bench::RegisterScanBenches();
    bench::RegisterReaderBenches();
    bench::RegisterZipBenches();
    bench::RegisterStreamBenches();
    bench::RegisterWalkBenches();
    bench::RegisterMailBenches();
    // Defaults that the arguments override: the least time in seconds for each benchmark, and one table.
    std::string minTime = "--benchmark_min_time=0.2";
    std::string tabular = "--benchmark_counters_tabular=true";
    std::vector<char*> arguments{argv, argv + argc};
    arguments.insert(arguments.begin() + 1, {minTime.data(), tabular.data()});
    auto count = static_cast<int>(arguments.size());
    benchmark::Initialize(&count, arguments.data());
    if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) {
        return 2;
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
