#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "host/medium/image_format.h"
#include "host/platform/folder.h"

namespace salvor {

/// Which recovery a folder belongs to; stored in it, so that an interrupted run can go on there.
struct JobIdentity {
    std::string imagePath;
    std::int64_t imageSize = 0;
    std::int32_t sectorSize = 0;
    /// The image's format, if it is not recognised by the content.
    std::optional<ImageFormat> imageFormat = std::nullopt;
};

/// What a folder is allowed to hold.
enum class FolderUse {
    /// Nothing.
    New,
    /// Nothing, or the files of an earlier run of the same job.
    GoOn,
    /// As `GoOn`, while other runs write there too.
    Share,
    /// Anything; files of the same names are replaced.
    Overwrite,
};

/// What a run reads, and so must never write to.
struct RunInputs {
    /// The files of the image.
    std::vector<std::string> imageFiles;
    /// Empty if there are none yet.
    std::string findsPath;
};

/// Throws `Failure` (usage) if a file written at the path would be on a block device among the image's files.
void RefuseSameDevice(const std::filesystem::path& path, const std::vector<std::string>& imageFiles);

/// A folder that a run writes to. No other run does as long as this exists, unless the folder is shared.
struct OutFolder {
    Folder folder;
    /// Not open for a shared folder.
    File lock;
    /// The folder holds files of earlier runs of the same job, perhaps none.
    bool isOfJob = true;
};

/// Makes the folder if it is new, opens it, gives up root's rights unless the folder needs them, keeps other runs out
/// and marks it with the job. Throws `Failure` with a clear line if it holds more than `use` allows, if an input has
/// the name of a report, if it cannot be made or written to, if another run uses it, and if it is on the device that is
/// read.
OutFolder PrepareOutFolder(const std::filesystem::path& path, const JobIdentity& job, const RunInputs& inputs,
                           FolderUse use);

}  // namespace salvor
