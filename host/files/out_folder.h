#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

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
    /// Anything; files of the same names are replaced.
    Overwrite,
};

/// What a run reads and so never writes to.
struct RunInputs {
    std::string imagePath;
    /// Empty if there is none yet.
    std::string findsPath;
};

/// True if both paths lead to one file or device.
bool IsSameFile(const std::filesystem::path& a, const std::filesystem::path& b);

/// Throws `Failure` (usage) if what is written at the path would lie on the block device `imagePath`.
void RefuseSameDevice(const std::filesystem::path& path, const std::string& imagePath);

/// Makes the folder if it is new, and marks it with the job. Throws `Failure` with one clear line when it holds more
/// than `use` allows, when one of the inputs stands where a run writes its reports, when it cannot be made or written
/// to, and when it lies on the device that is read.
void PrepareOutFolder(const std::filesystem::path& folder, const JobIdentity& job, const RunInputs& inputs,
                      FolderUse use);

/// True if a file system on device `folderDevice` takes its space from the block device `imageDevice`, directly, as a
/// partition, or through mapped devices. Device numbers are those of `stat`; `sysBlock` is the folder that holds an
/// entry "major:minor" for every block device.
bool IsOnDevice(std::uint64_t folderDevice, std::uint64_t imageDevice, const std::filesystem::path& sysBlock);

}  // namespace salvor
