#include <benchmark/benchmark.h>

#include <cstring>
#include <string>
#include <string_view>

#include "bench/Benches.h"
#include "bench/Measure.h"
#include "bench/Streams.h"
#include "containers/ZipFormat.h"
#include "containers/ZipSectorClass.h"
#include "frame/bytes/CompareBytesNoCase.h"

namespace bench {

namespace {

// The rule as a plain loop over the bytes, with a switch over those that may begin a name. A few names stand for all,
// one for each letter: the cost is in looking at every byte.
std::optional<std::size_t> ClassifyBytewise(ByteSpan sector, std::int32_t& kind) {
    const std::size_t n = sector.size();
    const auto decides = [&](std::size_t at, std::string_view name, std::int32_t decidedKind) {
        if (at + name.size() < n && CompareBytesNoCase(sector.data() + at, name.data(), name.size()) == 0) {
            kind = decidedKind;
        }
        return kind != ZipKind::Plain;
    };
    for (std::size_t at = 0; at < n; ++at) {
        if (at + 8 < n && std::memcmp(sector.data() + at, "PK\5\6\0\0\0\0", 8) == 0) {
            return at + ZipEndRecord::Bytes;
        }
        bool isNamed = false;
        switch (sector[at]) {
            case 'A':
            case 'a':
                isNamed = decides(at, "application/vnd.oasis.opendocument.formula", ZipKind::Formula);
                break;
            case 'M':
            case 'm':
                isNamed = decides(at, "META-INF/MANIFEST.MF", ZipKind::Jar);
                break;
            case 'P':
            case 'p':
                isNamed = decides(at, "ppt/slides/", ZipKind::PowerPoint);
                break;
            case 'W':
            case 'w':
                isNamed = decides(at, "word/document.xml", ZipKind::Word);
                break;
            case 'X':
            case 'x':
                isNamed = decides(at, "xl/workbook.xml", ZipKind::Excel);
                break;
            default:
                break;
        }
        if (isNamed) {
            return std::nullopt;
        }
    }
    return std::nullopt;
}

template <class Classify>
void ClassifySectors(benchmark::State& state, Content content, Classify classify) {
    const ByteSpan bytes(StreamOf(content));
    MeasurePasses(state, bytes, [&] {
        for (std::size_t from = 0; from < bytes.size(); from += SectorBytes) {
            std::int32_t kind = ZipKind::Plain;
            benchmark::DoNotOptimize(classify(bytes.subspan(from, SectorBytes), kind));
        }
    });
}

}  // namespace

void RegisterZipBenches() {
    for (const Content content : AllContents) {
        const std::string suffix = std::string("/").append(NameOf(content));
        benchmark::RegisterBenchmark(("zip/undecided" + suffix).c_str(), [=](benchmark::State& state) {
            ClassifySectors(state, content, ClassifyZipSector);
        })->Unit(benchmark::kMillisecond);
        benchmark::RegisterBenchmark(("zip/bytewise" + suffix).c_str(), [=](benchmark::State& state) {
            ClassifySectors(state, content, ClassifyBytewise);
        })->Unit(benchmark::kMillisecond);
    }
}

}  // namespace bench
