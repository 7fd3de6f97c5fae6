#pragma once

#include <string>

#include "host/app/command.h"
#include "host/app/finds_use.h"
#include "host/app/selection.h"
#include "host/app/shown_files.h"
#include "host/scan/scan_run.h"

namespace salvor {

// Groups of the help by which the person chooses.
inline constexpr const char* WhatToLookFor = "What to look for";
inline constexpr const char* WhatToWrite = "Which files";

// Options that several commands have, each group with its help.
void AddScanOptions(Command& command, ScanOptions& options);
/// How to read the image.
void AddImageOptions(Command& command, ImageSpec& image);
void AddSkipBad(Command& command, bool& skipBad);
void AddFinds(Command& command, std::string& finds, ImageSpec& image);
/// `path` takes the image to use in place of the one that the finds name.
void AddOtherImage(Command& command, std::string& path);
void AddTypeOptions(Command& command, FilterOptions& options);
void AddSizeOptions(Command& command, FilterOptions& options);
void AddVerdictOptions(Command& command, FilterOptions& options);
/// By what files say of themselves and by their bytes.
void AddContentOptions(Command& command, FilterOptions& options);
void AddNoFileSystem(Command& command, bool& isOff);
void AddFileSystemOptions(Command& command, FileSystemUse& use);
/// All of these that choose what is shown, and where from.
void AddShownOptions(Command& command, ShownOptions& options);
/// `which` says what folders may be named.
void AddOutOptions(Command& command, const std::string& which, std::string& out, bool& overwrite);
void AddQuiet(Command& command, bool& quiet);

}  // namespace salvor
