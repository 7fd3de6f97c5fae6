#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace salvor {

/// Where file systems that take their space from the block device at `path`, or from its partitions, are mounted for
/// writing. None for what is no block device.
std::vector<std::string> MountedForWriting(const std::filesystem::path& path);

/// The same for a device number as `stat` gives it. `mountInfo` is the text of /proc/self/mountinfo; `sysBlock` is the
/// folder that holds an entry "major:minor" for every block device.
std::vector<std::string> MountedForWriting(std::uint64_t device, std::string_view mountInfo,
                                           const std::filesystem::path& sysBlock);

}  // namespace salvor
