#include "host/platform/mounts.h"

#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <charconv>
#include <fstream>
#include <iterator>
#include <sstream>

#include "host/platform/same_disk.h"

namespace salvor {

namespace {

namespace fs = std::filesystem;

// Blanks and backslashes are written as a backslash with three octal digits.
std::string Unescaped(const std::string& word) {
    std::string text;
    for (std::size_t i = 0; i < word.size(); ++i) {
        int byte = 0;
        const char* const from = word.data() + i + 1;
        if (word[i] == '\\' && i + 3 < word.size() && std::from_chars(from, from + 3, byte, 8).ptr == from + 3) {
            text += static_cast<char>(byte);
            i += 3;
        } else {
            text += word[i];
        }
    }
    return text;
}

bool AllowsWriting(const std::string& options) { return options == "rw" || options.starts_with("rw,"); }

// A line of mountinfo, as proc(5) has it.
struct Mount {
    std::uint64_t device = 0;
    std::string place;
    bool isWritable = false;
};

Mount MountOf(const std::string& line) {
    std::istringstream words(line);
    std::string skipped;
    std::string numbers;
    std::string place;
    std::string word;
    words >> skipped >> skipped >> numbers >> skipped >> place;
    while (words >> word && word != "-") {
    }
    std::string source;
    std::string options;
    words >> skipped >> source >> options;

    unsigned int majorNumber = 0;
    unsigned int minorNumber = 0;
    const char* const end = numbers.data() + numbers.size();
    const char* const colon = std::from_chars(numbers.data(), end, majorNumber).ptr;
    if (colon != end) {
        std::from_chars(colon + 1, end, minorNumber);
    }
    Mount mount{makedev(majorNumber, minorNumber), Unescaped(place), AllowsWriting(options)};
    // A file system on several devices has a device number of its own; its source is one of the devices.
    struct stat info {};
    if (majorNumber == 0 && stat(Unescaped(source).c_str(), &info) == 0 && S_ISBLK(info.st_mode)) {
        mount.device = info.st_rdev;
    }
    return mount;
}

}  // namespace

std::vector<std::string> MountedForWriting(std::uint64_t device, std::string_view mountInfo, const fs::path& sysBlock) {
    std::vector<std::string> places;
    std::istringstream lines{std::string(mountInfo)};
    for (std::string line; std::getline(lines, line);) {
        const Mount mount = MountOf(line);
        if (mount.isWritable && IsInsideDevice(mount.device, device, sysBlock)) {
            places.push_back(mount.place);
        }
    }
    return places;
}

std::vector<std::string> MountedForWriting(const fs::path& path) {
    struct stat info {};
    if (stat(path.c_str(), &info) != 0 || !S_ISBLK(info.st_mode)) {
        return {};
    }
    std::ifstream file("/proc/self/mountinfo");
    const std::string text(std::istreambuf_iterator<char>(file), {});
    return MountedForWriting(info.st_rdev, text, "/sys/dev/block");
}

}  // namespace salvor
