#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "host/medium/medium.h"
#include "host/plan/plan.h"
#include "host/platform/folder.h"

namespace salvor {

enum class WriteOutcome { Written, AlreadyThere, Failed, Stopped };

/// The result of writing one planned file.
struct WriteResult {
    WriteOutcome outcome = WriteOutcome::Failed;
    /// Of the file's bytes, in lower-case hexadecimal; empty unless the file is there.
    std::string sha256;
    /// Bytes that could not be read and were written as zeros.
    std::int64_t unreadableBytes = 0;
    /// Why it failed, for the person.
    std::string error;
    bool diskIsFull = false;

    void Fail(const SystemError& why) {
        error = why.Text();
        diskIsFull = why.IsDiskFull();
    }
};

/// Copies planned files from the medium into a folder. Several may work side by side on different files.
class FileWriter {
public:
    /// The name of a file that is not whole yet ends with `partialSuffix`; no other process that writes the same files
    /// at the same time has the same. `progress` is told the bytes done of the file under way; it returns true to stop.
    FileWriter(Medium& medium, const Folder& folder, std::string partialSuffix,
               std::function<bool(std::int64_t)> progress);

    /// Writes the file under a temporary name and gives it its own when it is whole. A file that is there and holds the
    /// right bytes is left alone.
    WriteResult Write(const PlannedFile& file);

private:
    const Folder& ParentOf(const PlannedFile& file);
    bool IsImage(const std::optional<FileEntry>& there) const;
    std::int64_t UnreadableBytes(const PlannedFile& file) const;
    bool HoldsPlannedBytes(const Folder& folder, const std::string& name, const PlannedFile& file, WriteResult& result);
    void Copy(const Folder& folder, const std::string& name, const PlannedFile& file, WriteResult& result);
    template <class TakePiece>
    bool ForEachPiece(const PlannedFile& file, TakePiece takePiece, WriteResult& result);

    Medium& medium_;
    const Folder& folder_;
    std::string partialSuffix_;
    // Those of earlier files, by their paths in the folder.
    std::map<std::string, Folder> parents_;
    std::optional<FileIdentity> image_;
    std::function<bool(std::int64_t)> progress_;
    std::vector<std::uint8_t> piece_;
    // Of the file that is compared with it.
    std::vector<std::uint8_t> there_;
    bool kernelCopies_ = true;
};

}  // namespace salvor
