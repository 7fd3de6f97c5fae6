#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "host/medium/medium.h"
#include "host/plan/plan.h"

namespace salvor {

enum class WriteOutcome { Written, AlreadyThere, Failed, Stopped };

/// The result of writing one planned file.
struct WriteResult {
    WriteOutcome outcome = WriteOutcome::Failed;
    /// Of the file's bytes, in lower-case hexadecimal; empty unless the file is there.
    std::string sha256;
    /// Unreadable sectors in it were written as zeros.
    bool hasUnreadableSectors = false;
    /// Why it failed, for the person.
    std::string error;
};

/// Copies planned files from the medium into a folder. Several may work side by side on different files.
class FileWriter {
public:
    /// `progress` is told the bytes done of the file under way; it returns true to stop.
    FileWriter(Medium& medium, std::filesystem::path folder, std::function<bool(std::int64_t)> progress);

    /// Writes the file under a temporary name and gives it its own when it is whole. A file that is there and holds the
    /// right bytes is left alone.
    WriteResult Write(const PlannedFile& file);

private:
    bool IsImage(const std::filesystem::path& path) const;
    bool HoldsUnreadable(const PlannedFile& file) const;
    bool HoldsPlannedBytes(const std::filesystem::path& path, const PlannedFile& file, WriteResult& result);
    void Copy(const std::filesystem::path& path, const PlannedFile& file, WriteResult& result);
    template <class TakePiece>
    bool ForEachPiece(const PlannedFile& file, TakePiece takePiece, WriteResult& result);

    Medium& medium_;
    std::filesystem::path folder_;
    std::function<bool(std::int64_t)> progress_;
    std::vector<std::uint8_t> piece_;
    bool kernelCopies_ = true;
};

/// Bytes that the planned files which are not there yet with their size will take.
std::int64_t SpaceNeeded(const Plan& plan, const std::filesystem::path& folder);

}  // namespace salvor
