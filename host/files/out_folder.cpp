#include "host/files/out_folder.h"

#include <fmt/format.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <system_error>

#include "host/app/failure.h"
#include "host/report/json_lines.h"

namespace salvor {

namespace {

namespace fs = std::filesystem;

constexpr const char* JobFile = "job.json";

Failure Refuse(ExitStatus status, const fs::path& folder, std::string_view why) {
    return Failure(status, fmt::format("cannot write to '{}': {}", folder.string(), why));
}

Json JobToJson(const JobIdentity& job) {
    return {{"image", job.imagePath}, {"image_size", job.imageSize}, {"sector_size", job.sectorSize}};
}

bool BelongsToJob(const fs::path& folder, const JobIdentity& job) {
    std::ifstream file(folder / JobFile);
    std::string line;
    // As text: bytes of a path that are not UTF-8 are replaced in both.
    return std::getline(file, line) && line + '\n' == JsonLine(JobToJson(job));
}

// The disk that a partition is part of; a disk is its own. Entries of the system's folder link to the device's own
// folder, which lies inside its disk's.
fs::path DiskOf(const fs::path& device) { return fs::exists(device / "partition") ? device.parent_path() : device; }

bool RestsOn(const fs::path& device, const fs::path& disk, int depth) {
    constexpr int deepestStack = 16;
    if (depth > deepestStack) {
        return false;
    }
    if (DiskOf(device) == disk) {
        return true;
    }
    std::error_code none;
    for (const auto& slave : fs::directory_iterator(device / "slaves", none)) {
        const fs::path real = fs::canonical(slave.path(), none);
        if (!none && RestsOn(real, disk, depth + 1)) {
            return true;
        }
    }
    return false;
}

// Of the deepest part of the path that exists.
fs::path ExistingAncestor(const fs::path& path) {
    fs::path ancestor = fs::absolute(path);
    while (!fs::exists(ancestor) && ancestor.has_relative_path()) {
        ancestor = ancestor.parent_path();
    }
    return ancestor;
}

// An image that was put into the folder may bear the name of something that a run writes there.
void RefuseInputsAsOutputs(const fs::path& folder, const RunInputs& inputs) {
    for (const char* name : {JobFile, "report.jsonl", "report.jsonl.part", "skipped.jsonl", "skipped.jsonl.part",
                             "finds.jsonl", "outcomes.jsonl"}) {
        const bool isFinds = std::string_view(name) == "finds.jsonl";
        if (IsSameFile(folder / name, inputs.imagePath) ||
            (!isFinds && !inputs.findsPath.empty() && IsSameFile(folder / name, inputs.findsPath))) {
            throw Refuse(ExitStatus::Usage, folder,
                         fmt::format("'{}' there is what this run reads, and a report would replace it", name));
        }
    }
}

}  // namespace

bool IsOnDevice(std::uint64_t folderDevice, std::uint64_t imageDevice, const fs::path& sysBlock) {
    if (folderDevice == imageDevice) {
        return true;
    }
    const auto entry = [&](std::uint64_t device) {
        std::error_code none;
        return fs::canonical(sysBlock / fmt::format("{}:{}", major(device), minor(device)), none);
    };
    const fs::path folder = entry(folderDevice);
    const fs::path image = entry(imageDevice);
    return !folder.empty() && !image.empty() && RestsOn(folder, DiskOf(image), 0);
}

bool IsSameFile(const fs::path& a, const fs::path& b) {
    struct stat first {};
    struct stat second {};
    if (stat(a.c_str(), &first) != 0 || stat(b.c_str(), &second) != 0) {
        return false;
    }
    const bool sameDevice = S_ISBLK(first.st_mode) && S_ISBLK(second.st_mode) && first.st_rdev == second.st_rdev;
    return sameDevice || (first.st_dev == second.st_dev && first.st_ino == second.st_ino);
}

void RefuseSameDevice(const fs::path& path, const std::string& imagePath) {
    struct stat image {};
    struct stat ancestor {};
    if (stat(imagePath.c_str(), &image) != 0 || !S_ISBLK(image.st_mode) ||
        stat(ExistingAncestor(path).c_str(), &ancestor) != 0) {
        return;
    }
    if (IsOnDevice(ancestor.st_dev, image.st_rdev, "/sys/dev/block")) {
        throw Refuse(ExitStatus::Usage, path,
                     "it lies on the device that is being recovered, and writing there destroys what is to be found; "
                     "name a place on another disk");
    }
}

void PrepareOutFolder(const fs::path& folder, const JobIdentity& job, const RunInputs& inputs, FolderUse use) {
    RefuseSameDevice(folder, inputs.imagePath);
    RefuseInputsAsOutputs(folder, inputs);
    std::error_code error;
    fs::create_directories(folder, error);
    if (error) {
        throw Refuse(ExitStatus::NotStarted, folder, error.message());
    }
    if (!fs::is_directory(folder)) {
        throw Refuse(ExitStatus::NotStarted, folder, "it is not a folder");
    }
    const fs::directory_iterator entries(folder, error);
    if (error) {
        throw Refuse(ExitStatus::NotStarted, folder, error.message());
    }
    // A new file system has this folder of its own.
    const bool isEmpty = std::all_of(begin(entries), end(entries),
                                     [](const auto& entry) { return entry.path().filename() == "lost+found"; });
    const bool allowed =
        isEmpty || use == FolderUse::Overwrite || (use == FolderUse::GoOn && BelongsToJob(folder, job));
    if (!allowed) {
        throw Refuse(ExitStatus::Usage, folder,
                     "it is not empty; name a new folder, or pass --overwrite to write among what is there");
    }
    std::ofstream file(folder / JobFile, std::ios::trunc);
    file << JsonLine(JobToJson(job));
    if (!file.flush()) {
        throw Refuse(ExitStatus::NotStarted, folder, "no file can be written there");
    }
}

}  // namespace salvor
