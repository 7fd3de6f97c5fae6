#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "host/medium/image_format.h"
#include "host/platform/device.h"

namespace salvor {

/// The tables of AFF, VMDK, VHD and VHDX that list which blocks of a medium the file stores. Blocks that are not stored
/// are zeros. Calls come from one thread at a time.
class StoredBlocks {
public:
    /// The tables of the image at `path`; null for other formats, and if the tables make no sense or are in other
    /// files.
    static std::unique_ptr<StoredBlocks> Open(const std::string& path, ImageFormat format);

    StoredBlocks(const StoredBlocks&) = delete;
    StoredBlocks& operator=(const StoredBlocks&) = delete;
    virtual ~StoredBlocks() = default;

    /// As `MediumSource::NextData`, on a medium of `size` bytes.
    ByteRange NextData(std::int64_t offset, std::int64_t size);

protected:
    /// `blockBytes` is at least 1.
    explicit StoredBlocks(std::int64_t blockBytes) : blockBytes_(blockBytes) {}

private:
    /// Also true for blocks that no table covers.
    virtual bool IsStored(std::int64_t block) = 0;

    std::int64_t blockBytes_;
};

}  // namespace salvor
