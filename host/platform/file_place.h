#pragma once

#include <filesystem>
#include <string>

#include "host/platform/folder.h"

namespace salvor {

/// The place of one of the program's own files: a path that the user gave, whose links are followed, or a name in an
/// open folder, where links are not followed.
class FilePlace {
public:
    /// `path` as the user gave it.
    FilePlace(std::filesystem::path path) : path_(std::move(path)) {}  // NOLINT(google-explicit-constructor)
    /// The folder outlives this.
    FilePlace(const Folder& folder, std::string name) : folder_(&folder), path_(std::move(name)) {}
    static FilePlace StandardOutput();

    /// For messages.
    std::string Text() const;
    File Read() const;
    /// Creates the file, or empties or replaces the existing one.
    File Create() const;
    /// Where to write a file that `TakeFrom` moves here later: beside this one, with a name that ends with `suffix`. A
    /// pipe or a device is its own draft.
    FilePlace Draft(const std::string& suffix) const;
    /// Moves the draft here, replacing an existing file.
    SystemError TakeFrom(const FilePlace& draft) const;
    /// Brings the file's directory entry to stable storage.
    void SyncEntry() const;

private:
    bool IsOwnDraft() const;

    const Folder* folder_ = nullptr;
    std::filesystem::path path_;
    bool isOutput_ = false;
};

}  // namespace salvor
