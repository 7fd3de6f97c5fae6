#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/app/failure.h"

namespace salvor {

/// Where and how to look for files, as the person gave it.
struct ScanOptions {
    std::string image;
    std::string sectorSize = "512";
    std::string blockSize = "1M";
    /// In sectors; an empty length goes to the medium's end.
    std::string start = "0";
    std::string length;
    /// Leave the insides of bad stretches alone.
    bool skipBad = false;
    /// Words such as "png=50M".
    std::vector<std::string> caps;
};

/// Which finds to write as files, as the person gave it. `types` and `exclude` bound a scan too.
struct FilterOptions {
    std::vector<std::string> types;
    std::vector<std::string> exclude;
    std::vector<std::string> minSize;
    std::vector<std::string> maxSize;
    /// Names of verdicts.
    std::vector<std::string> only;
    bool noText = false;
    bool withEmbedded = false;
    bool all = false;
    bool asReported = false;
};

struct ScanCommand {
    ScanOptions scan;
    FilterOptions filter;
    std::string report;
    bool overwrite = false;
    bool quiet = false;
};

struct ValidateCommand {
    std::string finds;
    /// Instead of the image that the finds name; empty for that one.
    std::string image;
    /// Empty for a file beside the finds.
    std::string out;
    /// Leave the insides of bad stretches alone.
    bool skipBad = false;
    bool quiet = false;
};

struct ExtractCommand {
    std::string finds;
    /// Instead of the image that the finds name; empty for that one.
    std::string image;
    FilterOptions filter;
    std::string out;
    /// Leave the insides of bad stretches alone.
    bool skipBad = false;
    bool overwrite = false;
    bool quiet = false;
};

struct RecoverCommand {
    ScanOptions scan;
    FilterOptions filter;
    std::string out;
    bool overwrite = false;
    bool quiet = false;
};

struct InspectCommand {
    std::string image;
    std::string sectorSize = "512";
    /// Counted from 0.
    std::string sector = "0";
};

/// The commands of the program. Each throws `Failure` for what ends it at once.
ExitStatus RunScan(const ScanCommand& command);
ExitStatus RunValidate(const ValidateCommand& command);
ExitStatus RunExtract(const ExtractCommand& command);
ExitStatus RunRecover(const RecoverCommand& command);
/// Lists the types, or says what is known of those that the words name: extensions and indices.
ExitStatus RunTypes(const std::vector<std::string>& words);
ExitStatus RunInspect(const InspectCommand& command);

/// Parses the command line and runs what it names; the program's exit status. Failures are one line on stderr.
int RunCommandLine(int argc, const char* const* argv);

}  // namespace salvor
