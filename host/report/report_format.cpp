#include "host/report/report_format.h"

#include <array>

namespace salvor {

namespace {

// The report as one JSON value, for tools that cannot read JSON lines.
void WriteJson(ReportReader& reader, const TextSink& sink) {
    const ReportSummary& summary = reader.Summary();
    const Json medium{{"image", summary.image},
                      {"image_size", summary.imageSize},
                      {"sector_size", summary.sectorSize},
                      {"complete", summary.isComplete},
                      {"unreadable", RangesToJson(summary.unreadable)},
                      {"not_written", summary.notWritten}};
    std::string head = JsonLine(medium);
    head.erase(head.rfind('}'));
    sink(head + ",\"files\":[");
    const char* separator = "\n";
    for (ReportedFile file; reader.Next(file);) {
        std::string line = JsonLine(reader.Record());
        line.pop_back();
        sink(separator + line);
        separator = ",\n";
    }
    sink("\n]}\n");
}

constexpr std::array Formats = {
    ReportFormat{"csv", "report.csv", "a table for spreadsheets", WriteCsv},
    ReportFormat{"dfxml", "report.dfxml", "Digital Forensics XML", WriteDfxml},
    ReportFormat{"bodyfile", "report.body", "lines for timelines", WriteBodyFile},
    ReportFormat{"json", "report.json", "one JSON value", WriteJson},
};

}  // namespace

std::span<const ReportFormat> ReportFormats() { return Formats; }

}  // namespace salvor
