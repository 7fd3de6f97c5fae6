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
    /// True if every file lies in whole sectors. Files of other file systems are not passed on.
    bool IsEven() const;
    /// In bytes.
    std::int64_t ClusterSize() const { return clusters_.size; }
    /// The sector of the medium with which the first of them begins.
    std::int64_t FirstCluster() const { return clusters_.firstSector; }

    /// Both functions count the sectors of the medium, and end when the image is exhausted.
    void TellUsed(VolumeSink& sink) const;
    /// Passes on the files, and the slack of living ones.
    void TellFiles(std::int32_t volume, VolumeSink& sink) const;

private:
    struct Clusters {
        std::int64_t size = 0;
        std::int64_t firstSector = 0;
    };
    static Clusters ClustersOf(const TSK_FS_INFO& opened, Medium& medium, std::int64_t sector);

    FileSystem(TskFileSystem opened, TskImage& image, Medium& medium, std::int64_t sector);

    TskFileSystem opened_;
    TskImage* image_;
    Medium* medium_;
    std::int64_t firstByte_;
    Clusters clusters_;
};

}  // namespace salvor
