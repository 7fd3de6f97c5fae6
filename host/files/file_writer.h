#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/files/content_filter.h"
#include "host/files/file_pieces.h"
#include "host/files/writing_log.h"
#include "host/medium/medium.h"
#include "host/plan/plan.h"
#include "host/platform/folder.h"
#include "host/records/digest.h"
#include "host/report/write_result.h"

namespace salvor {

/// The folders of files below another one, opened once. The name of a file that is incomplete or a draft ends with
/// `partialSuffix`; no other process that writes the same files at the same time has the same suffix.
class FileFolders {
public:
    FileFolders(const Folder& root, std::string partialSuffix)
        : root_(root), partialSuffix_(std::move(partialSuffix)) {}

    /// The folder of a file, made if it is missing; valid until the next call.
    const Folder& Of(const PlannedFile& file);
    std::string PartialNameOf(const PlannedFile& file) const;

    /// Gives a draft the file's own name.
    void KeepDraft(const PlannedFile& file, WriteResult& result);
    void RemoveDraft(const PlannedFile& file);

private:
    const Folder& root_;
    std::string partialSuffix_;
    // By path.
    std::map<std::string, Folder> folders_;
};

/// Copies planned files from the medium into a folder. Several writers may work on different files at the same time.
class FileWriter {
public:
    /// For `partialSuffix` see `FileFolders`. `progress` gets the number of bytes done of the current file; it returns
    /// true to stop. A file with one of the hashes in `known` is not kept. A file that takes long is marked in `log`,
    /// and goes on from its mark if what was written until then is still there. Both may be null, and outlive this.
    FileWriter(Medium& medium, const Folder& folder, std::string partialSuffix,
               std::function<bool(std::int64_t)> progress, const HashList* known = nullptr, WritingLog* log = nullptr);

    /// Writes the file under a temporary name and renames it when it is complete. An existing file with the right bytes
    /// is left alone.
    WriteResult Write(const PlannedFile& file);
    /// The same, but a file that was written stays a draft.
    WriteResult WriteDraft(const PlannedFile& file);

private:
    struct Draft {
        File file;
        FileDigest digest;
        // That the file and the digest have.
        std::int64_t bytes = 0;
    };

    bool IsImage(const std::optional<FileEntry>& there) const;
    std::int64_t UnreadableBytes(const PlannedFile& file) const;
    bool HoldsPlannedBytes(const Folder& folder, const std::string& name, const PlannedFile& file, WriteResult& result);
    void Copy(const Folder& folder, const PlannedFile& file, WriteResult& result);
    std::optional<Draft> GoOn(const Folder& folder, const PlannedFile& file, WriteResult& result);
    std::optional<Draft> Begin(const Folder& folder, const PlannedFile& file, WriteResult& result) const;
    FilePieces::End Fill(Draft& draft, const PlannedFile& file);
    std::optional<WritingMark> MarkOf(const PlannedFile& file) const;
    void Mark(Draft& draft, const PlannedFile& file);
    FilePieces::End CompareWithMark(File& there, const WritingMark& mark, FileDigest& digest);
    FileDigest NewDigest() const;
    bool IsKnown(const FileHashes& hashes) const { return known_ != nullptr && known_->Contains(hashes); }

    Medium& medium_;
    FileFolders folders_;
    std::optional<FileIdentity> image_;
    std::function<bool(std::int64_t)> progress_;
    FilePieces pieces_;
    const HashList* known_;
    WritingLog* log_;
    // Bytes of the existing file, to be compared.
    std::vector<std::uint8_t> there_;
    bool kernelCopies_ = true;
};

}  // namespace salvor
