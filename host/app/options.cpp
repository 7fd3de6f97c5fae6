#include "host/app/options.h"

#include <fmt/format.h>

#include <filesystem>

#include "host/say/progress.h"

namespace salvor {

namespace {

constexpr const char* TheMedium = "The medium";

void Add(Command& command, const char* name, OptionTarget target, std::string help, const char* value,
         const char* group) {
    command.options.push_back(
        {.name = name, .target = std::move(target), .help = std::move(help), .value = value, .group = group});
}

void AddFlag(Command& command, const char* name, bool& target, std::string help, const char* group) {
    Add(command, name, &target, std::move(help), "", group);
}

void AddSizeOptions(Command& command, FilterOptions& options) {
    Add(command, "--min-size", &options.minSize,
        "Smallest file, in bytes, for all types or for some: 10K,png=1M,films=20M (default: no limit)", "SIZE",
        WhatToWrite);
    Add(command, "--max-size", &options.maxSize, "Largest file, in the same form", "SIZE", WhatToWrite);
}

void AddVerdictOptions(Command& command, FilterOptions& options) {
    command.options.push_back(
        {.name = "--only",
         .target = &options.only,
         .help = "Only files with these verdicts: whole, open (no declared end), truncated, damaged (default: all)",
         .value = "VERDICTS",
         .group = WhatToWrite,
         .values = {"whole", "open", "truncated", "damaged"}});
    AddFlag(command, "--no-text", options.noText,
            "Leave out plain text; web pages, mail and other structured texts stay", WhatToWrite);
    AddFlag(command, "--embedded", options.withEmbedded, "Include files that begin inside whole files", WhatToWrite);
    AddFlag(command, "--all", options.all,
            "Keep every file, however often the same bytes are claimed (default: together at most twice the medium's "
            "size)",
            WhatToWrite);
    AddFlag(command, "--as-reported", options.asReported, "Take what the scanners report, without validating it",
            WhatToWrite);
}

// Filters that need the bytes of files: their pixels, dates and hashes.
void AddContentOptions(Command& command, FilterOptions& options) {
    Add(command, "--min-pixels", &options.minPixels,
        "Smallest picture or film, upright or not: 640x480; files without pixels stay", "WIDTHxHEIGHT", WhatToWrite);
    Add(command, "--taken", &options.taken,
        "Only files that say they were taken or made then: 2019, 2019-05, 2019-05-31, or in a range, both ends "
        "included: 2018..2019-05, 2019.., ..2019",
        "TIME", WhatToWrite);
    AddFlag(command, "--unique", options.unique,
            "Keep only the first of several files with the same bytes; the others are listed with its path",
            WhatToWrite);
    Add(command, "--known", &options.known,
        "Leave out, and list, files whose hash is in one of these lists: MD5, SHA-1 or SHA-256, one per line, or "
        "NSRL text",
        "FILES", WhatToWrite);
}

}  // namespace

void AddScanOptions(Command& command, ScanOptions& options) {
    command.options.push_back({.name = "IMAGE",
                               .target = &options.image.path,
                               .help = "Image file or block device; opened read-only",
                               .group = TheMedium,
                               .isRequired = true});
    AddImageOptions(command, options.image);
    AddFlag(command, "--mounted", options.mounted, "Accept a device that is mounted for writing", TheMedium);
    Add(command, "--sector-size", &options.sectorSize, "Bytes in a sector, 512 to 4096 (default: 512)", "BYTES",
        TheMedium);
    Add(command, "--block-size", &options.blockSize, "Bytes to read at a time (default: 1M)", "SIZE", TheMedium);
    Add(command, "--start", &options.start, "First sector to scan, counted from 0 (default: 0)", "SECTOR", TheMedium);
    Add(command, "--length", &options.length, "Number of sectors to scan (default: up to the end)", "SECTORS",
        TheMedium);
    command.options.push_back({.name = "--volume",
                               .target = &options.volume,
                               .help = "Scan only this volume, numbered as in 'salvor info'",
                               .value = "NUMBER",
                               .group = TheMedium,
                               .excludes = {"--start", "--length"}});
    Add(command, "--space", &options.space,
        "What to scan: all; free, only what the file systems do not use, joined in order, so that a deleted file "
        "interrupted by others is whole again; free+slack, also the unused ends of living files' last clusters "
        "(default: all)",
        "SPACE", TheMedium);
    command.options.back().values = {"all", "free", "free+slack"};
    Add(command, "--cap", &options.caps,
        "Largest size to report, in bytes, for all types or for some (png=50M), instead of each type's own, which "
        "'salvor types' lists; fixed ones stay",
        "SIZE", WhatToLookFor);
}

void AddImageOptions(Command& command, ImageSpec& image) {
    const auto take = [&image](const std::string& word) {
        image.format = ImageFormatNamed(word);
        if (!image.format) {
            throw Failure(ExitStatus::Usage, fmt::format("'{}' is not one of {}", word, ImageFormatWords()));
        }
    };
    Add(command, "--format", take, fmt::format("Image format, where detection gets it wrong: {}", ImageFormatWords()),
        "FORMAT", TheMedium);
    Add(command, "--map", &image.map, "GNU ddrescue map of the image: areas it has not read are left alone", "MAP",
        TheMedium);
}

void AddSkipBad(Command& command, bool& skipBad) {
    AddFlag(command, "--skip-bad", skipBad,
            "Find the edges of unreadable areas and skip their insides (default: also try a few hundred places inside)",
            TheMedium);
}

void AddFinds(Command& command, std::string& finds, ImageSpec& image) {
    const auto take = [&finds](const std::string& path) {
        const std::filesystem::path named(path);
        finds = std::filesystem::is_directory(named) ? (named / "finds.jsonl").string() : path;
    };
    command.options.push_back({.name = "FINDS",
                               .target = take,
                               .help = "Finds file of a scan, complete or cut short, or the folder of its job",
                               .group = TheMedium,
                               .isRequired = true});
    AddOtherImage(command, image.path);
    AddImageOptions(command, image);
}

void AddOtherImage(Command& command, std::string& path) {
    Add(command, "--image", &path, "The image, if it is no longer where it was scanned", "IMAGE", TheMedium);
}

void AddTypeOptions(Command& command, FilterOptions& options) {
    Add(command, "--types", &options.types,
        "Only these types, separated by commas: extensions (jpg,png), groups (photos, documents, films, sounds, mail, "
        "...) or indices; 'salvor types' lists them (default: all)",
        "TYPES", WhatToLookFor);
    Add(command, "--exclude", &options.exclude, "Leave out these types", "TYPES", WhatToLookFor);
}

void AddNoFileSystem(Command& command, bool& isOff) {
    AddFlag(command, "--no-file-system", isOff,
            "Do not ask file systems for names, times and the places of fragmented files", WhatToWrite);
}

void AddFilterOptions(Command& command, FilterOptions& options, FileSystemUse& use) {
    AddTypeOptions(command, options);
    AddSizeOptions(command, options);
    AddVerdictOptions(command, options);
    AddContentOptions(command, options);
    AddNoFileSystem(command, use.isOff);
    command.options.push_back(
        {.name = "--names",
         .target = &use.names,
         .help = "How to name files: start, by their first sector; original, as the file system does (default: start)",
         .value = "NAMES",
         .group = OutputGroup,
         .values = {"start", "original"}});
}

void AddShownOptions(Command& command, ShownOptions& options) {
    command.options.push_back({.name = "DIR",
                               .target = &options.path,
                               .help = "Folder of recovered files, or a finds file that has been validated",
                               .isRequired = true});
    AddOtherImage(command, options.image);
    AddFilterOptions(command, options.filter, options.fileSystems);
}

void AddOutOptions(Command& command, const std::string& which, std::string& out, bool& overwrite) {
    command.options.push_back({.name = "--out",
                               .target = &out,
                               .help = "Folder for the files, on another disk: " + which,
                               .value = "DIR",
                               .group = OutputGroup,
                               .isRequired = true});
    AddFlag(command, "--overwrite", overwrite, "Write into a folder that already holds other things", OutputGroup);
}

void AddQuiet(Command& command, bool& quiet) {
    AddFlag(command, "-q,--quiet", quiet, "Print errors only, no progress and no summary", "");
    command.options.push_back({.name = "--progress",
                               .target = [](const std::string& /*format*/) { Progress::TellAsJson(); },
                               .help = "json: one line of JSON per second on standard error, for other programs",
                               .value = "FORMAT",
                               .values = {"json"}});
}

}  // namespace salvor
