#pragma once

#include <string>

#include "host/app/command.h"
#include "host/app/finds_use.h"
#include "host/app/scan_run.h"
#include "host/app/selection.h"
#include "host/app/shown_files.h"

namespace salvor {

// Titles of groups in the help.
inline constexpr const char* WhatToLookFor = "What to look for";
inline constexpr const char* WhatToWrite = "Which files";
inline constexpr const char* OutputGroup = "Output";
inline constexpr const char* WorkGroup = "Work";

/// For the footer of commands that take sizes.
inline constexpr const char* SizesLine =
    "Sizes are bytes, or a number with K, M, G or T for powers of 1024: 300, 64K, 1.5M, 2 GiB.\n";

// Options that several commands have, each with its help.
void AddScanOptions(Command& command, ScanOptions& options);
/// Options for how to read the image.
void AddImageOptions(Command& command, ImageSpec& image);
void AddSkipBad(Command& command, bool& skipBad);
void AddFinds(Command& command, std::string& finds, ImageSpec& image);
/// `path` becomes the image to use in place of the one that the finds name.
void AddOtherImage(Command& command, std::string& path);
void AddTypeOptions(Command& command, FilterOptions& options);
void AddNoFileSystem(Command& command, bool& isOff);
/// All options that choose which files are written, and how they are named.
void AddFilterOptions(Command& command, FilterOptions& options, FileSystemUse& use);
/// All options that choose which files are shown, and where they come from.
void AddShownOptions(Command& command, ShownOptions& options);
/// `which` completes the help: which folders are accepted.
void AddOutOptions(Command& command, const std::string& which, std::string& out, bool& overwrite);
void AddQuiet(Command& command, bool& quiet);

}  // namespace salvor
