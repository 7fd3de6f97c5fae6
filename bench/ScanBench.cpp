#include <benchmark/benchmark.h>

#include <array>
#include <cstdio>
#include <numeric>
#include <string>
#include <string_view>
#include <vector>

#include "bench/Benches.h"
#include "bench/Measure.h"
#include "bench/Scan.h"
#include "bench/Streams.h"
#include "frame/bytes/Bytes.h"
#include "frame/contract/FileTypeCatalog.h"

namespace bench {

namespace {

std::vector<std::int32_t> AllIndices() {
    std::vector<std::int32_t> indices(FileTypeCount);
    std::iota(indices.begin(), indices.end(), 0);
    return indices;
}

void ScanBytes(benchmark::State& state, const std::vector<std::int32_t>& indices, ByteSpan bytes) {
    RepeatingSource source(bytes);
    Scan scan(indices, bytes, source);
    MeasurePasses(state, bytes, [&scan] { scan.Pass(); });
    state.counters["finds"] = static_cast<double>(scan.Finds()) / static_cast<double>(state.iterations());
}

// A header that opens a run, the byte that the search for the run's end takes for the rarest, and bytes that match the
// end mark except for the last. `closer` begins a sector after which the file is reported; empty where a header does
// it.
struct OpenRunCase {
    std::int32_t index;
    std::string_view header;
    char anchor;
    std::string_view nearMiss;
    std::string_view closer = {};
};

using namespace std::string_view_literals;

constexpr std::array OpenRunCases{
    OpenRunCase{FileTypeIndex::Png, "\x89PNG\r\n\x1A\n"sv, '\xAE', "IEND\xAE\x42\x60\x83"sv},
    OpenRunCase{FileTypeIndex::Bookmarks, "<!DOCTYPE NETSCAPE-Bookmark-file-1>\r\n<!-- a comment -->"sv, 'D',
                "</DL><p)"sv},
    OpenRunCase{FileTypeIndex::Abr, "\x00\x06\x00\x02\x38\x42IM"sv, 'R', "Rpt bool\x01"sv},
    OpenRunCase{FileTypeIndex::Exb, "\x10\x43\x61xaEbForWindows"sv, ';',
                "\x20\x3B\x01\x00\x00\x00\x00\xFF\xFF\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x01"sv},
    // Nothing has decided the archive's kind, so that every place may be a name.
    OpenRunCase{FileTypeIndex::Zip, "PK\x03\x04"sv, 'K', "xl/workbook.xm_word/document.xm_ppt/slide/"sv,
                "PK\5\6\0\0\0\0\0"sv},
    OpenRunCase{FileTypeIndex::Rar, "Rar!\x1A\x07\x00\xCF"sv, '{', "\xC4\x3D\x7B\x00\x40\x07\x01"sv},
    OpenRunCase{FileTypeIndex::Mht, "MIME-Version: 1.0\nContent-Type: multipart/related;boundary=\"b\""sv, '<',
                "</xm>\0"sv, "</xml>b--"sv},
    OpenRunCase{FileTypeIndex::Pzf, "PCFFGRA"sv, '@',
                "\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFE\x01\x40"sv},
};

Bytes Repeat(std::string_view text) {
    Bytes bytes(StreamBytes);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<std::uint8_t>(text[i % text.size()]);
    }
    return bytes;
}

void ScanInsideRun(benchmark::State& state, const OpenRunCase& run, ByteSpan bytes) {
    RepeatingSource source(bytes);
    Scan scan({run.index}, bytes, source);
    const auto sectorWith = [](std::string_view text) {
        std::array<std::uint8_t, SectorBytes> sector{};
        std::memcpy(sector.data(), text.data(), text.size());
        return sector;
    };
    scan.Feed(sectorWith(run.header));
    MeasurePasses(state, bytes, [&scan] { scan.Pass(); });
    // The file is still open if the header opened one and nothing has closed it; a second header or the end then
    // reports it.
    if (scan.Finds() != 0) {
        state.SkipWithError("the file was closed on the way");
        return;
    }
    scan.Feed(sectorWith(run.closer.empty() ? run.header : run.closer));
    if (scan.Finds() != 1) {
        state.SkipWithError("no file was open");
    }
}

std::string LabelOf(std::int32_t index) {
    std::array<char, 32> label{};
    std::snprintf(label.data(), label.size(), "%03d-%s", index, FileTypeCatalog[index].extension);
    return label.data();
}

template <class Run>
void Register(const std::string& name, Run run) {
    benchmark::RegisterBenchmark(name.c_str(), run)->Unit(benchmark::kMillisecond);
}

void RegisterContent(Content content, const std::vector<std::int32_t>& all) {
    const std::string suffix = std::string("/").append(NameOf(content));
    Register("all" + suffix, [=](benchmark::State& state) { ScanBytes(state, all, StreamOf(content)); });
    // For scanners that look only at the first bytes of a sector, the other kinds of text make no difference.
    const bool isVariant = content == Content::WideText || content == Content::Markup;
    for (const std::int32_t index : isVariant ? std::vector<std::int32_t>() : all) {
        Register("type/" + LabelOf(index) + suffix,
                 [=](benchmark::State& state) { ScanBytes(state, {index}, StreamOf(content)); });
    }
    if (content == Content::Card) {
        return;  // its files have ends
    }
    for (const OpenRunCase& run : OpenRunCases) {
        Register("open/" + LabelOf(run.index) + suffix,
                 [=](benchmark::State& state) { ScanInsideRun(state, run, StreamOf(content)); });
    }
}

}  // namespace

void RegisterScanBenches() {
    const std::vector<std::int32_t> all = AllIndices();
    for (const Content content : AllContents) {
        RegisterContent(content, all);
    }
    // A slice that stays in the cache: what a scanner costs besides the memory.
    for (const std::int32_t index : all) {
        Register("cached/" + LabelOf(index) + "/random", [=](benchmark::State& state) {
            ScanBytes(state, {index}, ByteSpan(StreamOf(Content::Random)).first(salvor::SliceBytes));
        });
    }
    // The worst data for the search: only the byte that it takes for rare, and only near misses.
    for (const OpenRunCase& run : OpenRunCases) {
        Register("open/" + LabelOf(run.index) + "/anchors", [=](benchmark::State& state) {
            ScanInsideRun(state, run, Repeat({&run.anchor, 1}));
        });
        Register("open/" + LabelOf(run.index) + "/near-misses",
                 [=](benchmark::State& state) { ScanInsideRun(state, run, Repeat(run.nearMiss)); });
    }
}

}  // namespace bench
