#include "host/platform/device_facts.h"

#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <algorithm>
#include <charconv>
#include <fstream>
#include <initializer_list>
#include <system_error>

namespace salvor {

namespace {

namespace fs = std::filesystem;

// The text of the first of these files that is not blank, trimmed.
std::string FirstText(const fs::path& folder, std::initializer_list<const char*> names) {
    constexpr std::string_view blanks = " \t\r\n";
    for (const char* const name : names) {
        std::ifstream file(folder / name);
        std::string line;
        std::getline(file, line);
        const std::size_t from = std::min(line.find_first_not_of(blanks), line.size());
        if (from < line.size()) {
            return line.substr(from, line.find_last_not_of(blanks) + 1 - from);
        }
    }
    return "";
}

std::int32_t Number(const std::string& text) {
    std::int32_t number = 0;
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

}  // namespace

DeviceFacts FactsInFolder(const fs::path& folder) {
    const fs::path disk = fs::exists(folder / "partition") ? folder.parent_path() : folder;
    return {FirstText(disk, {"device/model", "device/name"}), FirstText(disk, {"device/serial", "serial"}),
            Number(FirstText(disk, {"queue/logical_block_size"})),
            Number(FirstText(disk, {"queue/physical_block_size"}))};
}

std::optional<DeviceFacts> FactsOfDevice(const fs::path& path) {
    struct stat info {};
    if (stat(path.c_str(), &info) != 0 || !S_ISBLK(info.st_mode)) {
        return std::nullopt;
    }
    std::error_code none;
    const std::string name = std::to_string(major(info.st_rdev)) + ':' + std::to_string(minor(info.st_rdev));
    return FactsInFolder(fs::canonical(fs::path("/sys/dev/block") / name, none));
}

}  // namespace salvor
