#include "host/app/options.h"

#include <fmt/format.h>

#include <filesystem>

#include "host/say/progress.h"

namespace salvor {

void AddScanOptions(CLI::App& command, ScanOptions& options) {
    command.add_option("IMAGE", options.image.path, "Image file or block device; opened read-only")->required();
    AddImageOptions(command, options.image);
    command.add_flag("--mounted", options.mounted, "Also a device that is mounted for writing");
    command.add_option("--sector-size", options.sectorSize, "Bytes in a sector, 512 to 4096")->capture_default_str();
    command.add_option("--block-size", options.blockSize, "Bytes read at once")->capture_default_str();
    command.add_option("--start", options.start, "First sector to scan, counted from 0")->capture_default_str();
    command.add_option("--length", options.length, "Sectors to scan; to the end if not given");
    command
        .add_option("--cap", options.caps,
                    "Largest size to report, for all types or as EXT=SIZE, in place of the types' own ('salvor "
                    "types'); those of engines stay")
        ->delimiter(',')
        ->allow_extra_args(false);
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
        ->type_name("FORMAT");
    command.add_option("--map", image.map, "GNU ddrescue's map of the image: what it has not read is left alone");
}

void AddSkipBad(CLI::App& command, bool& skipBad) {
    command.add_flag("--skip-bad", skipBad, "Where sectors cannot be read, find the edges and leave the inside alone");
}

void AddFinds(CLI::App& command, std::string& finds, ImageSpec& image) {
    command
        .add_option("FINDS", finds, "Finds file of a scan, also of one that was cut short, or the folder of its job")
        ->required()
        ->transform([](const std::string& path) {
            const std::filesystem::path named(path);
            return std::filesystem::is_directory(named) ? (named / "finds.jsonl").string() : path;
        });
    command.add_option("--image", image.path, "The image, if it is not where the scan found it");
    AddImageOptions(command, image);
}

void AddTypeOptions(CLI::App& command, FilterOptions& options) {
    command.add_option("--types", options.types, "Only these types: extensions or indices, as in jpg,png,41")
        ->delimiter(',')
        ->allow_extra_args(false);
    command.add_option("--exclude", options.exclude, "Not these types")->delimiter(',')->allow_extra_args(false);
}

void AddSizeOptions(CLI::App& command, FilterOptions& options) {
    command.add_option("--min-size", options.minSize, "No smaller files, for all types or as EXT=SIZE: 10K,png=1M")
        ->delimiter(',')
        ->allow_extra_args(false);
    command.add_option("--max-size", options.maxSize, "No larger files, in the same way")
        ->delimiter(',')
        ->allow_extra_args(false);
}

void AddVerdictOptions(CLI::App& command, FilterOptions& options) {
    command.add_option("--only", options.only, "Only these verdicts: whole, open, truncated, damaged")
        ->delimiter(',')
        ->allow_extra_args(false);
    command.add_flag("--no-text", options.noText, "No plain text; pages, mail and other texts with a structure stay");
    command.add_flag("--embedded", options.withEmbedded, "Also files that begin inside whole files");
    command.add_flag("--all", options.all,
                     "However often the same bytes are claimed; files together larger than twice the medium");
    command.add_flag("--as-reported", options.asReported, "What the scanners report, without a look at the files");
}

void AddOutOptions(CLI::App& command, const std::string& which, std::string& out, bool& overwrite) {
    command.add_option("--out", out, "Folder for the files; " + which)->required();
    command.add_flag("--overwrite", overwrite, "Write into a folder that holds other things");
}

void AddQuiet(CLI::App& command, bool& quiet) {
    command.add_flag("--quiet", quiet, "No progress and no summary; errors only");
    command
        .add_option_function<std::string>(
            "--progress", [](const std::string& /*format*/) { Progress::TellAsJson(); },
            "json: a line of JSON a second on standard error, for programs")
        ->check(CLI::IsMember({"json"}));
}

}  // namespace salvor
