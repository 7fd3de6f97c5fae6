#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace salvor {

/// The mount points of writable file systems on the block device at `path` or on its partitions. None for a path that
/// is not a block device.
std::vector<std::string> MountedForWriting(const std::filesystem::path& path);

/// The same for a device number as `stat` gives it. `mountInfo` is the text of /proc/self/mountinfo; `sysBlock` is the
/// folder with an entry "major:minor" for every block device.
std::vector<std::string> MountedForWriting(std::uint64_t device, std::string_view mountInfo,
                                           const std::filesystem::path& sysBlock);

}  // namespace salvor
