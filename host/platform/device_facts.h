#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

namespace salvor {

/// What the system knows about the disk that a block device is, or is part of. Unknown texts are empty and unknown
/// sizes 0.
struct DeviceFacts {
    std::string model;
    std::string serial;
    /// In bytes: the unit of the disk's commands, and the unit in which it writes.
    std::int32_t logicalSectorSize = 0;
    std::int32_t physicalSectorSize = 0;
    bool operator==(const DeviceFacts&) const = default;
};

/// Nothing for a path that is not a block device.
std::optional<DeviceFacts> FactsOfDevice(const std::filesystem::path& path);

/// The same for a device's folder in /sys.
DeviceFacts FactsInFolder(const std::filesystem::path& folder);

}  // namespace salvor
