#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace salvor {

/// True if both paths lead to one file or device.
bool IsSameFile(const std::filesystem::path& a, const std::filesystem::path& b);

/// The same with one of several.
bool IsAmong(const std::filesystem::path& path, const std::vector<std::string>& others);

/// True for a regular file that is not empty.
bool HoldsBytes(const std::filesystem::path& path);

/// True if what is written at the path would lie on the block device `device`. The path need not exist.
bool LiesOnDevice(const std::filesystem::path& path, const std::filesystem::path& device);

/// True if the file or block device lies on a disk whose heads must move between two places; false where the system
/// does not tell.
bool LiesOnRotatingDisk(const std::filesystem::path& path);

/// True if the block device `part` takes its space from `device`: it is that one, a partition of it, or mapped onto
/// one of these. Device numbers and `sysBlock` as below.
bool IsInsideDevice(std::uint64_t part, std::uint64_t device, const std::filesystem::path& sysBlock);

/// True if a file system on device `folderDevice` takes its space from the block device `imageDevice`, directly, as a
/// partition, or through mapped devices. Device numbers are those of `stat`; `sysBlock` is the folder that holds an
/// entry "major:minor" for every block device.
bool IsOnDevice(std::uint64_t folderDevice, std::uint64_t imageDevice, const std::filesystem::path& sysBlock);

}  // namespace salvor
