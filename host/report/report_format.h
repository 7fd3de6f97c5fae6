#pragma once

#include <functional>
#include <span>
#include <string>
#include <string_view>

#include "host/report/report_reader.h"

namespace salvor {

/// Receives a report piece by piece.
using TextSink = std::function<void(const std::string& text)>;

/// A format in which a folder's report is written for other tools.
struct ReportFormat {
    /// The format's name on the command line.
    std::string_view name;
    /// The file's name in the folder.
    const char* fileName;
    const char* help;
    /// Writes the reader's files, from the first one on.
    void (*write)(ReportReader& reader, const TextSink& sink);
};

std::span<const ReportFormat> ReportFormats();

// Hostile names are harmless in all of them: each format escapes text that its readers would interpret.

/// RFC 4180 with a line of column names; what a spreadsheet would take for a formula is turned into text.
void WriteCsv(ReportReader& reader, const TextSink& sink);
/// The lines from which tools make timelines, with the file system's times if known, else 0.
void WriteBodyFile(ReportReader& reader, const TextSink& sink);
/// Digital Forensics XML 2.0.0-beta.0. Facts without a name in it are at the end of each file, in a namespace of our
/// own.
void WriteDfxml(ReportReader& reader, const TextSink& sink);

}  // namespace salvor
