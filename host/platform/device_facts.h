#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

namespace salvor {

/// What the system knows of the disk that a block device is, or is a part of. Texts are empty and sizes 0 where it does
/// not say.
struct DeviceFacts {
    std::string model;
    std::string serial;
    /// In bytes: what the disk takes orders for, and what it writes at once.
    std::int32_t logicalSectorSize = 0;
    std::int32_t physicalSectorSize = 0;
    bool operator==(const DeviceFacts&) const = default;
};

/// Nothing for what is no block device.
std::optional<DeviceFacts> FactsOfDevice(const std::filesystem::path& path);

/// The same for a device's folder in /sys.
DeviceFacts FactsInFolder(const std::filesystem::path& folder);

}  // namespace salvor
