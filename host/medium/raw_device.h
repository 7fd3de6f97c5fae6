#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace salvor {

/// An open image file or block device. Reads may come from several threads.
class RawDevice {
public:
    RawDevice() = default;
    RawDevice(const RawDevice&) = delete;
    RawDevice& operator=(const RawDevice&) = delete;
    virtual ~RawDevice() = default;

    /// Size in bytes when it was opened.
    virtual std::int64_t Size() const = 0;

    /// Reads up to `length` bytes at `offset`, both in bytes; fewer, or none, when the rest cannot be read.
    virtual std::size_t ReadAt(std::int64_t offset, std::uint8_t* buffer, std::size_t length) = 0;

    /// Reads one sector again that `ReadAt` did not deliver. True only if all of it was read.
    virtual bool ReadAgain(std::int64_t offset, std::uint8_t* buffer, std::size_t length) {
        return ReadAt(offset, buffer, length) == length;
    }

    /// The descriptor of a regular file, from which the kernel can copy ranges by itself.
    virtual std::optional<int> CopySource() const { return std::nullopt; }
};

/// Opens a regular file or a block device, read-only. Throws `Failure` (not started) with a clear line for a path that
/// is missing, not readable, empty, a directory or anything else.
std::unique_ptr<RawDevice> OpenDevice(const std::string& path);

}  // namespace salvor
