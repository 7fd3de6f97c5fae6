#include <benchmark/benchmark.h>

#include <array>
#include <string>
#include <string_view>

#include "bench/Benches.h"
#include "bench/Measure.h"
#include "bench/Scan.h"
#include "bench/Streams.h"

namespace bench {

namespace {

void AppendBig(Bytes& bytes, std::uint64_t value, unsigned width) {
    for (unsigned shift = 8 * width; shift > 0; shift -= 8) {
        bytes.push_back(static_cast<std::uint8_t>(value >> (shift - 8)));
    }
}

// A box of `size` bytes, of which the header and `content` are given.
void AppendBox(Bytes& bytes, std::size_t size, std::string_view type, std::string_view content = {}) {
    const std::size_t end = bytes.size() + size;
    AppendBig(bytes, size, 4);
    bytes.insert(bytes.end(), type.begin(), type.end());
    bytes.insert(bytes.end(), content.begin(), content.end());
    bytes.resize(end);
}

constexpr std::size_t FileTypeBoxBytes = 32;

// A file of two large boxes.
Bytes WholeMp4() {
    Bytes bytes;
    AppendBox(bytes, FileTypeBoxBytes, "ftyp", "isom");
    AppendBox(bytes, std::size_t{1} << 20, "moov");
    AppendBox(bytes, StreamBytes - bytes.size(), "mdat");
    return bytes;
}

// A file of fragments of `fragmentBytes`, two boxes each.
template <std::size_t FragmentBytes>
Bytes FragmentedMp4() {
    constexpr std::size_t moofBytes = 1000;
    Bytes bytes;
    bytes.reserve(StreamBytes);
    AppendBox(bytes, FileTypeBoxBytes, "ftyp", "iso5");
    AppendBox(bytes, FragmentBytes - FileTypeBoxBytes, "moov");
    while (bytes.size() < StreamBytes) {
        AppendBox(bytes, moofBytes, "moof");
        AppendBox(bytes, FragmentBytes - moofBytes, "mdat");
    }
    return bytes;
}

// A row of files of one sector, each of which leads to the next.
Bytes RowOfMp4() {
    Bytes bytes;
    bytes.reserve(StreamBytes);
    while (bytes.size() < StreamBytes) {
        AppendBox(bytes, FileTypeBoxBytes, "ftyp", "isom");
        AppendBox(bytes, SectorBytes - FileTypeBoxBytes, "moov");
    }
    return bytes;
}

// One file, or many, that fill the stream, and the type that follows their structure.
struct WalkCase {
    const char* name;
    std::int32_t index;
    Bytes (*build)();
    std::int64_t finds;
};

constexpr std::array WalkCases{
    WalkCase{"mp4/whole", FileTypeIndex::Mp4, WholeMp4, 1},
    WalkCase{"mp4/fragments-1M", FileTypeIndex::Mp4, FragmentedMp4<std::size_t{1} << 20>, 1},
    WalkCase{"mp4/fragments-64K", FileTypeIndex::Mp4, FragmentedMp4<std::size_t{64} << 10>, 1},
    WalkCase{"mp4/fragments-4K", FileTypeIndex::Mp4, FragmentedMp4<std::size_t{4} << 10>, 1},
    WalkCase{"mp4/row", FileTypeIndex::Mp4, RowOfMp4, StreamBytes / SectorBytes},
};

// Scans the bytes as a medium of their own, from its start to its end; each pass is a new scan.
void WalkStream(benchmark::State& state, const WalkCase& walk) {
    const Bytes bytes = walk.build();
    FiniteSource source(bytes);
    std::int64_t finds = 0;
    MeasurePasses(state, bytes, [&] {
        Scan scan({walk.index}, bytes, source);
        scan.Pass();
        finds = scan.Finds();
    });
    if (finds != walk.finds) {
        state.SkipWithError("not every file was found");
    }
}

}  // namespace

void RegisterWalkBenches() {
    for (const WalkCase& walk : WalkCases) {
        benchmark::RegisterBenchmark((std::string("walk/") + walk.name).c_str(), [&walk](benchmark::State& state) {
            WalkStream(state, walk);
        })->Unit(benchmark::kMillisecond);
    }
}

}  // namespace bench
