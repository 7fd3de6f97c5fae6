#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace salvor {

/// True if both paths lead to one file or device.
bool IsSameFile(const std::filesystem::path& a, const std::filesystem::path& b);

/// The same for any of several paths.
bool IsAmong(const std::filesystem::path& path, const std::vector<std::string>& others);

/// True for a regular file that is not empty.
bool HoldsBytes(const std::filesystem::path& path);

/// True if a file written at the path would be on the block device `device`. The path need not exist.
bool LiesOnDevice(const std::filesystem::path& path, const std::filesystem::path& device);

/// True if the file or block device is on a disk with moving heads; false if the system does not know.
bool LiesOnRotatingDisk(const std::filesystem::path& path);

/// The same for any of several paths. Such a disk is read faster in one place than in two at a time.
bool LieOnRotatingDisk(const std::vector<std::string>& paths);

/// True if the block device `part` takes its space from `device`: it is the same, a partition of it, or mapped onto one
/// of these. For device numbers and `sysBlock` see below.
bool IsInsideDevice(std::uint64_t part, std::uint64_t device, const std::filesystem::path& sysBlock);

/// True if a file system on device `folderDevice` takes its space from the block device `imageDevice`, directly, as a
/// partition, or through mapped devices. Device numbers are those of `stat`; `sysBlock` is the folder that holds an
/// entry "major:minor" for every block device.
bool IsOnDevice(std::uint64_t folderDevice, std::uint64_t imageDevice, const std::filesystem::path& sysBlock);

}  // namespace salvor
