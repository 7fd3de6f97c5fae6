#pragma once

#include <cstdint>
#include <optional>

#include "host/volumes/tsk_image.h"

namespace salvor {

/// A readable file system on a volume.
class FileSystem {
public:
    /// Opens the file system at this sector of the medium; nothing if none can be read there. All arguments outlive it.
    static std::optional<FileSystem> Open(TskImage& image, Medium& medium, std::int64_t sector);

    /// Such as "FAT32".
    const char* Name() const;
    /// In bytes.
    std::int64_t Size() const;
    /// Does every file lie in whole sectors? Nothing is told of any other.
    bool IsEven() const;
    /// In bytes.
    std::int64_t ClusterSize() const { return clusterSize_; }

    /// Both functions count the sectors of the medium, and end when the image is exhausted.
    void TellUsed(VolumeSink& sink) const;
    /// Passes on the files, and the slack of living ones.
    void TellFiles(std::int32_t volume, VolumeSink& sink) const;

private:
    FileSystem(TskFileSystem opened, TskImage& image, Medium& medium, std::int64_t sector);

    TskFileSystem opened_;
    TskImage* image_;
    Medium* medium_;
    std::int64_t firstByte_;
    std::int64_t clusterSize_;
};

}  // namespace salvor
