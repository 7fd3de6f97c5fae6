#pragma once

#include <filesystem>
#include <string>

#include "host/platform/folder.h"

namespace salvor {

/// Where a file of the program's own stands: at a path that a person named, whose links are followed, or in an open
/// folder, where none is.
class FilePlace {
public:
    /// `path` as the person named it.
    FilePlace(std::filesystem::path path) : path_(std::move(path)) {}  // NOLINT(google-explicit-constructor)
    /// The folder outlives this.
    FilePlace(const Folder& folder, std::string name) : folder_(&folder), path_(std::move(name)) {}
    static FilePlace StandardOutput();

    /// For people.
    std::string Text() const;
    File Read() const;
    /// Makes the file, or empties or replaces the one that is there.
    File Create() const;
    /// Where to write what `TakeFrom` moves here later: a file beside this one whose name ends with `suffix`. A pipe or
    /// a device is its own draft.
    FilePlace Draft(const std::string& suffix) const;
    /// Moves the draft here, replacing a file that is there.
    SystemError TakeFrom(const FilePlace& draft) const;
    /// The file's entry reaches stable storage.
    void SyncEntry() const;

private:
    bool IsOwnDraft() const;

    const Folder* folder_ = nullptr;
    std::filesystem::path path_;
    bool isOutput_ = false;
};

}  // namespace salvor
