#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "host/medium/image_format.h"
#include "host/platform/device.h"

namespace salvor {

/// Where the bytes of a medium come from: a raw image, a device, an image format, ranges of another medium joined in
/// order. `Medium` asks for large pieces, numbers the sectors and deals with those that cannot be read. Offsets and
/// lengths are in bytes. Calls may come from several threads.
class MediumSource {
public:
    MediumSource() = default;
    MediumSource(const MediumSource&) = delete;
    MediumSource& operator=(const MediumSource&) = delete;
    virtual ~MediumSource() = default;

    /// The size when it was opened; at least 1.
    virtual std::int64_t Size() const = 0;

    virtual ImageFormat Format() const { return ImageFormat::Raw; }

    /// The paths of all files that the bytes come from.
    virtual std::vector<std::string> Files() const { return {}; }

    /// The unit in which bytes are read, or cannot be read.
    virtual std::int32_t SectorSize() const { return 512; }

    /// Reads up to `length` bytes; fewer, or none, if the rest cannot be read.
    virtual std::size_t ReadAt(std::int64_t offset, std::uint8_t* buffer, std::size_t length) = 0;

    /// Reads a sector that `ReadAt` did not deliver, without touching others.
    virtual std::size_t ReadAgain(std::int64_t offset, std::uint8_t* buffer, std::size_t length) {
        return ReadAt(offset, buffer, length);
    }

    /// Called once something cannot be read: from then on nothing is read ahead.
    virtual void ExpectFailures() {}

    /// The first bytes at or after `offset` that must be read; those before them are known to be zeros. Empty, and at
    /// the end, if there are none.
    virtual ByteRange NextData(std::int64_t offset) { return {offset, Size() - offset}; }

    /// The descriptor of a regular file, from which the kernel can copy ranges by itself.
    virtual std::optional<int> CopySource() const { return std::nullopt; }

    /// The open descriptors with which `OpenPassedImage` (host/medium/open_image.h) opens the same medium in another
    /// process; none for a medium that can only be opened by name.
    virtual std::vector<int> Descriptors() const { return {}; }
};

}  // namespace salvor
