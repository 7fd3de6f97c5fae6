#include <benchmark/benchmark.h>

#include <array>
#include <cstring>
#include <string>
#include <string_view>

#include "bench/Benches.h"
#include "bench/Measure.h"
#include "bench/Scan.h"
#include "bench/Streams.h"

namespace bench {

namespace {

using namespace std::string_view_literals;

// Units of one length, each beginning with `head`, the first one with `first`, up to a sector before the stream's end.
Bytes Units(std::string_view head, std::size_t length, std::string_view first) {
    Bytes bytes(StreamBytes);
    for (std::size_t at = 0; at + length <= bytes.size() - SectorBytes; at += length) {
        const std::string_view start = at == 0 ? first : head;
        std::memcpy(bytes.data() + at, start.data(), start.size());
    }
    return bytes;
}

struct StreamCase {
    const char* name;
    std::int32_t index;
    Bytes (*build)();
    /// Whether a file is found.
    bool isFile;
};

constexpr auto Frame = "\xFF\xFB\xE0\x00"sv;
constexpr auto SmallFrame = "\xFF\xFB\x90\x00"sv;
constexpr auto Packet = "\x47\x01\x00\x10"sv;
constexpr auto ProgramTable = "\x47\x40\x00\x10"sv;
// A pack header and a packet that fills 2048 bytes with it.
constexpr auto Pack = "\0\0\1\xBA\x44\0\4\0\4\1\1\x89\xC3\xF8\0\0\1\xE0\x07\xEC"sv;
constexpr auto PackAlone = "\0\0\1\xBA\x44\0\4\0\4\1\1\x89\xC3\xFA"sv;

// One long file, and media on which many candidates stand before the same bytes.
constexpr std::array Cases{
    StreamCase{"mp3/320kbit", FileTypeIndex::Mp3, [] { return Units(Frame, 1044, Frame); }, true},
    StreamCase{"mp3/128kbit", FileTypeIndex::Mp3, [] { return Units(SmallFrame, 417, SmallFrame); }, true},
    StreamCase{"mts/188", FileTypeIndex::Mts, [] { return Units(Packet, 188, ProgramTable); }, true},
    StreamCase{"mts/208", FileTypeIndex::Mts, [] { return Units(Packet, 208, ProgramTable); }, true},
    StreamCase{"vob/2048", FileTypeIndex::Vob, [] { return Units(Pack, 2048, Pack); }, true},
    StreamCase{"hostile/mts-without-table", FileTypeIndex::Mts, [] { return Units(Packet, 188, Packet); }, false},
    StreamCase{"hostile/mts-sync-bytes", FileTypeIndex::Mts, [] { return Units("G"sv, 1, "G"sv); }, false},
    StreamCase{"hostile/packs-without-packets", FileTypeIndex::Vob, [] { return Units(PackAlone, 16, PackAlone); },
               false},
    StreamCase{"hostile/tags-without-frames", FileTypeIndex::Mp3, [] { return Units("ID3"sv, SectorBytes, "ID3"sv); },
               false},
    StreamCase{"hostile/short-rows-of-frames", FileTypeIndex::Mp3,
               [] { return Units(SmallFrame, SectorBytes, SmallFrame); }, false},
};

void ScanStream(benchmark::State& state, const StreamCase& stream) {
    const Bytes bytes = stream.build();
    // The medium repeats the stream after its last sector, which is empty.
    RepeatingSource source(bytes);
    Scan scan({stream.index}, bytes, source);
    MeasurePasses(state, bytes, [&scan] {
        // Each pass is a new scan that begins where the medium does.
        scan.Restart();
        scan.Pass();
    });
    state.counters["finds"] = static_cast<double>(scan.Finds()) / static_cast<double>(state.iterations());
    if ((scan.Finds() > 0) != stream.isFile) {
        state.SkipWithError("not the finds that the medium is made for");
    }
}

}  // namespace

void RegisterStreamBenches() {
    for (const StreamCase& stream : Cases) {
        benchmark::RegisterBenchmark((std::string("stream/") + stream.name).c_str(), [&stream](
                                                                                         benchmark::State& state) {
            ScanStream(state, stream);
        })->Unit(benchmark::kMillisecond);
    }
}

}  // namespace bench
