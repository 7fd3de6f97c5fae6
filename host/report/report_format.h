#pragma once

#include <functional>
#include <span>
#include <string>
#include <string_view>

#include "host/report/report_reader.h"

namespace salvor {

/// Takes a report piece by piece.
using TextSink = std::function<void(const std::string& text)>;

/// A form in which a folder's report is written for other tools.
struct ReportFormat {
    /// As the person names it.
    std::string_view name;
    /// In the folder.
    const char* fileName;
    const char* help;
    /// Writes what the reader gives, from its first file on.
    void (*write)(ReportReader& reader, const TextSink& sink);
};

std::span<const ReportFormat> ReportFormats();

// Hostile names harm none of them: each takes a text apart that its own readers would not take for text.

/// RFC 4180 with a line of names; what a spreadsheet would take for a formula is made text.
void WriteCsv(ReportReader& reader, const TextSink& sink);
/// The lines from which tools make timelines: times of the file system where they are known, else 0.
void WriteBodyFile(ReportReader& reader, const TextSink& sink);
/// Digital Forensics XML 2.0.0-beta.0; what that has no name for stands at the end of each file in a namespace of its
/// own.
void WriteDfxml(ReportReader& reader, const TextSink& sink);

}  // namespace salvor
