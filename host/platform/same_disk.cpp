#include "host/platform/same_disk.h"

#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <algorithm>
#include <fstream>
#include <string>
#include <system_error>

namespace salvor {

namespace {

namespace fs = std::filesystem;

// The disk of a partition; of a disk, itself. The entries of the system's folder link to the device's own folder, which
// is inside that of its disk.
fs::path DiskOf(const fs::path& device) { return fs::exists(device / "partition") ? device.parent_path() : device; }

// True if the device rests on this disk or partition.
bool RestsOn(const fs::path& device, const fs::path& disk, int depth) {
    constexpr int deepestStack = 16;
    if (depth > deepestStack) {
        return false;
    }
    if (device == disk || DiskOf(device) == disk) {
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

bool HasRotatingDisk(const fs::path& device, int depth) {
    constexpr int deepestStack = 16;
    const fs::path disk = DiskOf(device);
    char isRotating = '0';
    std::ifstream(disk / "queue/rotational") >> isRotating;
    std::error_code none;
    // The system counts these virtual disks as rotating, as it does not know what they lie on.
    const bool isVirtual = fs::read_symlink(disk / "device/driver", none).filename() == "virtio_blk";
    if (isRotating == '1' || depth > deepestStack) {
        return isRotating == '1' && !isVirtual;
    }
    const fs::directory_iterator slaves(device / "slaves", none);
    return std::any_of(begin(slaves), end(slaves), [&](const fs::directory_entry& slave) {
        const fs::path real = fs::canonical(slave.path(), none);
        return !none && HasRotatingDisk(real, depth + 1);
    });
}

// The system's folder for a device; empty if there is none.
fs::path EntryOf(std::uint64_t device, const fs::path& sysBlock) {
    std::error_code none;
    return fs::canonical(sysBlock / (std::to_string(major(device)) + ':' + std::to_string(minor(device))), none);
}

// The deepest part of the path that exists.
fs::path ExistingAncestor(const fs::path& path) {
    fs::path ancestor = fs::absolute(path);
    std::error_code none;
    while (!fs::exists(ancestor, none) && ancestor.has_relative_path()) {
        ancestor = ancestor.parent_path();
    }
    return ancestor;
}

}  // namespace

bool IsSameFile(const fs::path& a, const fs::path& b) {
    struct stat first {};
    struct stat second {};
    if (stat(a.c_str(), &first) != 0 || stat(b.c_str(), &second) != 0) {
        return false;
    }
    const bool sameDevice = S_ISBLK(first.st_mode) && S_ISBLK(second.st_mode) && first.st_rdev == second.st_rdev;
    return sameDevice || (first.st_dev == second.st_dev && first.st_ino == second.st_ino);
}

bool IsAmong(const fs::path& path, const std::vector<std::string>& others) {
    return std::ranges::any_of(others, [&](const std::string& other) { return IsSameFile(path, other); });
}

bool HoldsBytes(const fs::path& path) {
    struct stat info {};
    return stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode) && info.st_size > 0;
}

bool IsOnDevice(std::uint64_t folderDevice, std::uint64_t imageDevice, const fs::path& sysBlock) {
    if (folderDevice == imageDevice) {
        return true;
    }
    const fs::path folder = EntryOf(folderDevice, sysBlock);
    const fs::path image = EntryOf(imageDevice, sysBlock);
    return !folder.empty() && !image.empty() && RestsOn(folder, DiskOf(image), 0);
}

bool LiesOnRotatingDisk(const fs::path& path) {
    struct stat info {};
    if (stat(path.c_str(), &info) != 0) {
        return false;
    }
    const fs::path device = EntryOf(S_ISBLK(info.st_mode) ? info.st_rdev : info.st_dev, "/sys/dev/block");
    return !device.empty() && HasRotatingDisk(device, 0);
}

bool LieOnRotatingDisk(const std::vector<std::string>& paths) {
    return std::ranges::any_of(paths, [](const std::string& path) { return LiesOnRotatingDisk(path); });
}

bool IsInsideDevice(std::uint64_t part, std::uint64_t device, const fs::path& sysBlock) {
    if (part == device) {
        return true;
    }
    const fs::path inner = EntryOf(part, sysBlock);
    const fs::path outer = EntryOf(device, sysBlock);
    return !inner.empty() && !outer.empty() && RestsOn(inner, outer, 0);
}

bool LiesOnDevice(const fs::path& path, const fs::path& device) {
    struct stat image {};
    struct stat ancestor {};
    return stat(device.c_str(), &image) == 0 && S_ISBLK(image.st_mode) &&
           stat(ExistingAncestor(path).c_str(), &ancestor) == 0 &&
           IsOnDevice(ancestor.st_dev, image.st_rdev, "/sys/dev/block");
}

}  // namespace salvor
