#include <benchmark/benchmark.h>

#include <cstring>
#include <string>

#include "bench/Benches.h"
#include "bench/Measure.h"
#include "bench/Scan.h"
#include "bench/Streams.h"

namespace bench {

namespace {

constexpr std::int32_t Eml = FileTypeIndex::Eml;
constexpr std::int32_t Msg = 35;

class CountingSink : public IFoundFileSink {
public:
    std::int32_t ReportFound(const FoundFile* /*file*/) override { return ++finds; }
    std::int32_t finds = 0;
};

// A mailbox without an end: a message each `sectors` sectors, with the given text after its first lines. A '#' in the
// texts stands for another digit in each message.
Bytes Mailbox(std::size_t sectors, const std::string& header, const std::string& tail) {
    Bytes bytes(StreamBytes, 'a');
    std::size_t number = 0;
    const auto put = [&](std::size_t at, const std::string& text) {
        std::size_t rest = number;
        for (std::size_t i = 0; i < text.size(); ++i) {
            const bool isDigit = text[i] == '#';
            bytes[at + i] = static_cast<std::uint8_t>(isDigit ? "0123456789"[rest % 10] : text[i]);
            rest = isDigit ? rest / 10 : rest;
        }
    };
    for (std::size_t at = 0; at + sectors * SectorBytes <= bytes.size(); at += sectors * SectorBytes, ++number) {
        put(at, "Received: from mail.example.org\r\nSubject: x" + header);
        put(at + sectors * SectorBytes - tail.size(), tail);
    }
    return bytes;
}

void ScanMail(benchmark::State& state, std::int32_t index, const Bytes& bytes) {
    RepeatingSource source(bytes);
    Scan scan({index}, bytes, source);
    MeasurePasses(state, bytes, [&scan] { scan.Pass(); });
    state.counters["finds"] = static_cast<double>(scan.Finds()) / static_cast<double>(state.iterations());
}

// Stored messages before tables without a free entry.
Bytes EndlessTables() {
    Bytes bytes(StreamBytes);
    const auto put = [&](std::size_t at, std::string_view text) {
        std::memcpy(bytes.data() + at, text.data(), text.size());
    };
    using namespace std::string_view_literals;
    for (std::size_t at = 0; at + std::size_t{4} * SectorBytes <= bytes.size(); at += std::size_t{4} * SectorBytes) {
        put(at, "\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1"sv);
        put(at + SectorBytes, "R\0o\0o\0t\0 \0E\0n\0t\0r\0y\0"sv);
        put(at + std::size_t{2} * SectorBytes, "\1\0\0\0\2\0\0\0\3\0\0\0\4\0\0\0\xFE\xFF\xFF\xFF\xFD\xFF\xFF\xFF"sv);
    }
    return bytes;
}

}  // namespace

void RegisterMailBenches() {
    const std::string html = "\r\nContent-Type: text/html\r\n\r\n";
    const std::string parts = "\r\nContent-Type: multipart/mixed;\r\n boundary=\"----=_Part_########.4711\"\r\n\r\n";
    const std::string closing = "------=_Part_########.4711--\r\n";
    const auto add = [](const char* name, std::int32_t index, auto make) {
        benchmark::RegisterBenchmark(name, [=](benchmark::State& state) {
            ScanMail(state, index, make());
        })->Unit(benchmark::kMillisecond);
    };
    add("mail/closed", Eml, [=] { return Mailbox(4, parts, closing); });
    add("mail/html", Eml, [=] { return Mailbox(4, html, "</html>\r\n"); });
    add("mail/one-sector", Eml, [=] { return Mailbox(1, html, ""); });
    add("mail/no-header", Eml, [=] { return Mailbox(2, "", ""); });
    add("mail/html-without-end", Eml, [=] { return Mailbox(2, html, ""); });
    add("mail/same-boundary-without-end", Eml, [=] { return Mailbox(2, "\r\nContent-Type: a; boundary=b\r\n", ""); });
    add("mail/boundaries-without-end", Eml,
        [=] { return Mailbox(4, parts, "--====== ----_Part_########.4712--\r\n"); });
    add("mail/boundaries-alike", Eml, [=] { return Mailbox(4, parts, "---_Part_###.4711--\r\n"); });
    add("mail/stored-without-end", Msg, EndlessTables);
}

}  // namespace bench
