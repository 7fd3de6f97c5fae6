#include "host/app/options.h"

#include <fmt/format.h>

#include <filesystem>

#include "host/say/progress.h"

namespace salvor {

namespace {

// Groups of the help.
constexpr const char* TheMedium = "The medium";
constexpr const char* WhereTo = "Where to";

void Add(Command& command, const char* name, OptionTarget target, std::string help, const char* value,
         const char* group) {
    command.options.push_back(
        {.name = name, .target = std::move(target), .help = std::move(help), .value = value, .group = group});
}

void AddFlag(Command& command, const char* name, bool& target, std::string help, const char* group) {
    Add(command, name, &target, std::move(help), "", group);
}

}  // namespace

void AddScanOptions(Command& command, ScanOptions& options) {
    command.options.push_back({.name = "IMAGE",
                               .target = &options.image.path,
                               .help = "Image file or block device; opened read-only",
                               .group = TheMedium,
                               .isRequired = true});
    AddImageOptions(command, options.image);
    AddFlag(command, "--mounted", options.mounted, "Also a device that is mounted for writing", TheMedium);
    Add(command, "--sector-size", &options.sectorSize, "Bytes in a sector, 512 to 4096; 512 if not given", "BYTES",
        TheMedium);
    Add(command, "--block-size", &options.blockSize, "Bytes read at once; 1M if not given", "SIZE", TheMedium);
    Add(command, "--start", &options.start, "First sector to scan, counted from 0; 0 if not given", "SECTOR",
        TheMedium);
    Add(command, "--length", &options.length, "Number of sectors to scan; up to the end if not given", "SECTORS",
        TheMedium);
    command.options.push_back({.name = "--volume",
                               .target = &options.volume,
                               .help = "Scan one volume alone, by its number in 'salvor info'",
                               .value = "NUMBER",
                               .group = TheMedium,
                               .excludes = {"--start", "--length"}});
    Add(command, "--space", &options.space,
        "all; free: only what the file systems do not use, joined in order, so that a deleted file that others "
        "interrupt is whole again; free+slack: also the ends of living files' last clusters; all if not given",
        "SPACE", TheMedium);
    Add(command, "--cap", &options.caps,
        "Largest size to report, in bytes, for all types or for some (png=50M), in place of the types' own, which "
        "'salvor types' lists; those of engines stay",
        "SIZE", WhatToLookFor);
}

void AddImageOptions(Command& command, ImageSpec& image) {
    const auto take = [&image](const std::string& word) {
        image.format = ImageFormatNamed(word);
        if (!image.format) {
            throw Failure(ExitStatus::Usage, fmt::format("'{}' is not one of {}", word, ImageFormatWords()));
        }
    };
    Add(command, "--format", take, fmt::format("The image's format, if its content misleads: {}", ImageFormatWords()),
        "FORMAT", TheMedium);
    Add(command, "--map", &image.map, "GNU ddrescue's map of the image: what it has not read is left alone", "MAP",
        TheMedium);
}

void AddSkipBad(Command& command, bool& skipBad) {
    AddFlag(command, "--skip-bad", skipBad,
            "Where sectors cannot be read, find the edges and leave the inside alone; a few hundred places inside are "
            "tried too if not given",
            TheMedium);
}

void AddFinds(Command& command, std::string& finds, ImageSpec& image) {
    const auto take = [&finds](const std::string& path) {
        const std::filesystem::path named(path);
        finds = std::filesystem::is_directory(named) ? (named / "finds.jsonl").string() : path;
    };
    command.options.push_back({.name = "FINDS",
                               .target = take,
                               .help = "Finds file of a scan, also of one that was cut short, or the folder of its job",
                               .group = TheMedium,
                               .isRequired = true});
    AddOtherImage(command, image.path);
    AddImageOptions(command, image);
}

void AddOtherImage(Command& command, std::string& path) {
    Add(command, "--image", &path, "The image, if it is not where the scan found it", "IMAGE", TheMedium);
}

void AddTypeOptions(Command& command, FilterOptions& options) {
    Add(command, "--types", &options.types,
        "Only these types, with commas: extensions (jpg,png), groups (photos, documents, films, sounds, mail, ...) or "
        "indices; 'salvor types' lists all; every type if not given",
        "TYPES", WhatToLookFor);
    Add(command, "--exclude", &options.exclude, "Not these types", "TYPES", WhatToLookFor);
}

void AddSizeOptions(Command& command, FilterOptions& options) {
    Add(command, "--min-size", &options.minSize,
        "No smaller files, in bytes, for all types or for some: 10K,png=1M,films=20M; no bound if not given", "SIZE",
        WhatToWrite);
    Add(command, "--max-size", &options.maxSize, "No larger files, in the same way", "SIZE", WhatToWrite);
}

void AddVerdictOptions(Command& command, FilterOptions& options) {
    command.options.push_back(
        {.name = "--only",
         .target = &options.only,
         .help = "Only these verdicts: whole, open (no declared end), truncated, damaged; all if not given",
         .value = "VERDICTS",
         .group = WhatToWrite,
         .values = {"whole", "open", "truncated", "damaged"}});
    AddFlag(command, "--no-text", options.noText, "No plain text; pages, mail and other texts with a structure stay",
            WhatToWrite);
    AddFlag(command, "--embedded", options.withEmbedded, "Also files that begin inside whole files", WhatToWrite);
    AddFlag(command, "--all", options.all,
            "However often the same bytes are claimed; if not given, files together are no larger than twice the "
            "medium",
            WhatToWrite);
    AddFlag(command, "--as-reported", options.asReported, "What the scanners report, without a look at the files",
            WhatToWrite);
}

void AddContentOptions(Command& command, FilterOptions& options) {
    Add(command, "--min-pixels", &options.minPixels,
        "No smaller pictures and films, upright or not: 640x480; files without pixels stay", "WIDTHxHEIGHT",
        WhatToWrite);
    Add(command, "--taken", &options.taken,
        "Only what says it was taken or made then: 2019, 2019-05, 2019-05-31, or from one to another, both with it: "
        "2018..2019-05, 2019.., ..2019",
        "TIME", WhatToWrite);
    AddFlag(command, "--unique", options.unique,
            "Of files with the same bytes only the first on the medium; the others are listed with its path",
            WhatToWrite);
    Add(command, "--known", &options.known,
        "No files of which one of these lists has the hash: MD5, SHA-1 or SHA-256, one a line, or NSRL's text; they "
        "are listed",
        "FILES", WhatToWrite);
}

void AddNoFileSystem(Command& command, bool& isOff) {
    AddFlag(command, "--no-file-system", isOff,
            "Do not ask file systems for names, times and the places of files in pieces", WhatToWrite);
}

void AddFileSystemOptions(Command& command, FileSystemUse& use) {
    AddNoFileSystem(command, use.isOff);
    command.options.push_back(
        {.name = "--names",
         .target = &use.names,
         .help = "What files are called by: start for their first sector, original for the file system's names; start "
                 "if not given",
         .value = "NAMES",
         .group = WhereTo,
         .values = {"start", "original"}});
}

void AddShownOptions(Command& command, ShownOptions& options) {
    command.options.push_back({.name = "DIR",
                               .target = &options.path,
                               .help = "Folder of recovered files, or finds file of a scan that is validated",
                               .isRequired = true});
    AddOtherImage(command, options.image);
    AddTypeOptions(command, options.filter);
    AddSizeOptions(command, options.filter);
    AddVerdictOptions(command, options.filter);
    AddContentOptions(command, options.filter);
    AddFileSystemOptions(command, options.fileSystems);
}

void AddOutOptions(Command& command, const std::string& which, std::string& out, bool& overwrite) {
    command.options.push_back({.name = "--out",
                               .target = &out,
                               .help = "Folder for the files, on another disk; " + which,
                               .value = "DIR",
                               .group = WhereTo,
                               .isRequired = true});
    AddFlag(command, "--overwrite", overwrite, "Write into a folder that holds other things", WhereTo);
}

void AddQuiet(Command& command, bool& quiet) {
    AddFlag(command, "-q,--quiet", quiet, "No progress and no summary; errors only", "");
    command.options.push_back({.name = "--progress",
                               .target = [](const std::string& /*format*/) { Progress::TellAsJson(); },
                               .help = "json: a line of JSON a second on standard error, for programs",
                               .value = "FORMAT",
                               .values = {"json"}});
}

}  // namespace salvor
