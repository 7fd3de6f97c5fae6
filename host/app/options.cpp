#include "host/app/options.h"

#include <fmt/format.h>

#include <filesystem>

#include "host/say/progress.h"

namespace salvor {

namespace {

// Groups of the help.
constexpr const char* TheMedium = "The medium";
constexpr const char* WhatToLookFor = "What to look for";
constexpr const char* WhatToWrite = "Which files";
constexpr const char* WhereTo = "Where to";

CLI::Option* Value(CLI::Option* option, const char* value, const char* group) {
    return option->type_name(value)->group(group);
}

CLI::Option* List(CLI::Option* option, const char* value, const char* group) {
    return Value(option, value, group)->delimiter(',')->allow_extra_args(false);
}

}  // namespace

void AddScanOptions(CLI::App& command, ScanOptions& options) {
    command.add_option("IMAGE", options.image.path, "Image file or block device; opened read-only")
        ->required()
        ->group(TheMedium);
    AddImageOptions(command, options.image);
    command.add_flag("--mounted", options.mounted, "Also a device that is mounted for writing")->group(TheMedium);
    Value(command.add_option("--sector-size", options.sectorSize, "Bytes in a sector, 512 to 4096; 512 if not given"),
          "BYTES", TheMedium);
    Value(command.add_option("--block-size", options.blockSize, "Bytes read at once; 1M if not given"), "SIZE",
          TheMedium);
    CLI::Option* const start =
        Value(command.add_option("--start", options.start, "First sector to scan, counted from 0; 0 if not given"),
              "SECTOR", TheMedium);
    CLI::Option* const length =
        Value(command.add_option("--length", options.length, "Number of sectors to scan; up to the end if not given"),
              "SECTORS", TheMedium);
    Value(command.add_option("--volume", options.volume, "Scan one volume alone, by its number in 'salvor info'"),
          "NUMBER", TheMedium)
        ->excludes(start)
        ->excludes(length);
    List(command.add_option("--cap", options.caps,
                            "Largest size to report, in bytes, for all types or for some (png=50M), in place of the "
                            "types' own, which 'salvor types' lists; those of engines stay"),
         "SIZE", WhatToLookFor);
}

void AddImageOptions(CLI::App& command, ImageSpec& image) {
    const auto take = [&image](const std::string& word) {
        image.format = ImageFormatNamed(word);
        if (!image.format) {
            throw CLI::ValidationError("--format", fmt::format("'{}' is not one of {}", word, ImageFormatWords()));
        }
    };
    command
        .add_option_function<std::string>(
            "--format", take, fmt::format("The image's format, if its content misleads: {}", ImageFormatWords()))
        ->type_name("FORMAT")
        ->group(TheMedium);
    Value(command.add_option("--map", image.map, "GNU ddrescue's map of the image: what it has not read is left alone"),
          "MAP", TheMedium);
}

void AddSkipBad(CLI::App& command, bool& skipBad) {
    command
        .add_flag(
            "--skip-bad", skipBad,
            "Where sectors cannot be read, find the edges and leave the inside alone; a few hundred places inside "
            "are tried too if not given")
        ->group(TheMedium);
}

void AddFinds(CLI::App& command, std::string& finds, ImageSpec& image) {
    command
        .add_option("FINDS", finds, "Finds file of a scan, also of one that was cut short, or the folder of its job")
        ->required()
        ->group(TheMedium)
        ->transform([](const std::string& path) {
            const std::filesystem::path named(path);
            return std::filesystem::is_directory(named) ? (named / "finds.jsonl").string() : path;
        });
    Value(command.add_option("--image", image.path, "The image, if it is not where the scan found it"), "IMAGE",
          TheMedium);
    AddImageOptions(command, image);
}

void AddTypeOptions(CLI::App& command, FilterOptions& options) {
    List(command.add_option("--types", options.types,
                            "Only these types, with commas: extensions (jpg,png), groups (photos, documents, films, "
                            "sounds, mail, ...) or indices; 'salvor types' lists all; every type if not given"),
         "TYPES", WhatToLookFor);
    List(command.add_option("--exclude", options.exclude, "Not these types"), "TYPES", WhatToLookFor);
}

void AddSizeOptions(CLI::App& command, FilterOptions& options) {
    List(command.add_option("--min-size", options.minSize,
                            "No smaller files, in bytes, for all types or for some: 10K,png=1M,films=20M; no bound if "
                            "not given"),
         "SIZE", WhatToWrite);
    List(command.add_option("--max-size", options.maxSize, "No larger files, in the same way"), "SIZE", WhatToWrite);
}

void AddVerdictOptions(CLI::App& command, FilterOptions& options) {
    List(command.add_option("--only", options.only,
                            "Only these verdicts: whole, open (no declared end), truncated, damaged; all if not given"),
         "VERDICTS", WhatToWrite);
    command.add_flag("--no-text", options.noText, "No plain text; pages, mail and other texts with a structure stay")
        ->group(WhatToWrite);
    command.add_flag("--embedded", options.withEmbedded, "Also files that begin inside whole files")
        ->group(WhatToWrite);
    command
        .add_flag("--all", options.all,
                  "However often the same bytes are claimed; if not given, files together are no larger than twice the "
                  "medium")
        ->group(WhatToWrite);
    command.add_flag("--as-reported", options.asReported, "What the scanners report, without a look at the files")
        ->group(WhatToWrite);
}

void AddFileSystemOptions(CLI::App& command, FileSystemUse& use) {
    command
        .add_flag("--no-file-system", use.isOff,
                  "Do not ask file systems for names, times and the places of files in pieces")
        ->group(WhatToWrite);
    Value(command.add_option("--names", use.names,
                             "What files are called by: start for their first sector, original for the file system's "
                             "names; start if not given"),
          "NAMES", WhereTo)
        ->check(CLI::IsMember({"start", "original"}));
}

void AddOutOptions(CLI::App& command, const std::string& which, std::string& out, bool& overwrite) {
    Value(command.add_option("--out", out, "Folder for the files, on another disk; " + which), "DIR", WhereTo)
        ->required();
    command.add_flag("--overwrite", overwrite, "Write into a folder that holds other things")->group(WhereTo);
}

void AddQuiet(CLI::App& command, bool& quiet) {
    command.add_flag("-q,--quiet", quiet, "No progress and no summary; errors only");
    command
        .add_option_function<std::string>(
            "--progress", [](const std::string& /*format*/) { Progress::TellAsJson(); },
            "json: a line of JSON a second on standard error, for programs")
        ->type_name("FORMAT")
        ->check(CLI::IsMember({"json"}));
}

}  // namespace salvor
