#pragma once

#include <CLI/CLI.hpp>
#include <string>

#include "host/app/finds_use.h"
#include "host/app/selection.h"
#include "host/scan/scan_run.h"

namespace salvor {

// Options that several commands have, each group with its help.
void AddScanOptions(CLI::App& command, ScanOptions& options);
/// How to read the image.
void AddImageOptions(CLI::App& command, ImageSpec& image);
void AddSkipBad(CLI::App& command, bool& skipBad);
void AddFinds(CLI::App& command, std::string& finds, ImageSpec& image);
void AddTypeOptions(CLI::App& command, FilterOptions& options);
void AddSizeOptions(CLI::App& command, FilterOptions& options);
void AddVerdictOptions(CLI::App& command, FilterOptions& options);
void AddFileSystemOptions(CLI::App& command, FileSystemUse& use);
/// `which` says what folders may be named.
void AddOutOptions(CLI::App& command, const std::string& which, std::string& out, bool& overwrite);
void AddQuiet(CLI::App& command, bool& quiet);

}  // namespace salvor
