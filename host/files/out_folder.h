#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "host/platform/folder.h"

namespace salvor {

/// Which recovery a folder belongs to; kept in it, so that a run that was cut short can go on there.
struct JobIdentity {
    std::string imagePath;
    std::int64_t imageSize = 0;
    std::int32_t sectorSize = 0;
};

/// What a folder may hold to be used.
enum class FolderUse {
    /// Nothing.
    New,
    /// Nothing, or what an earlier run of the same job left.
    GoOn,
    /// The same, while other runs write there too.
    Share,
    /// Anything; files of the same names are replaced.
    Overwrite,
};

/// What a run reads and so never writes to.
struct RunInputs {
    /// The files of the image.
    std::vector<std::string> imageFiles;
    /// Empty if there is none yet.
    std::string findsPath;
};

/// Throws `Failure` (usage) if what is written at the path would lie on a block device among the image's files.
void RefuseSameDevice(const std::filesystem::path& path, const std::vector<std::string>& imageFiles);

/// A folder that a run writes into; no other run does as long as this exists, unless it is shared.
struct OutFolder {
    Folder folder;
    /// Not open for a folder that is shared.
    File lock;
    /// It holds what earlier runs of the same job left, perhaps nothing.
    bool isOfJob = true;
};

/// Makes the folder if it is new, opens it, gives up the rights of root unless the folder needs them, keeps other runs
/// out and marks it with the job. Throws `Failure` with one clear line when it holds more than `use` allows, when one
/// of the inputs stands where a run writes its reports, when it cannot be made or written to, when another run uses it,
/// and when it lies on the device that is read.
OutFolder PrepareOutFolder(const std::filesystem::path& path, const JobIdentity& job, const RunInputs& inputs,
                           FolderUse use);

}  // namespace salvor
