#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>

#include "host/platform/file.h"

namespace salvor {

/// The space that a file system has left for a user's files.
struct FreeSpace {
    std::int64_t bytes = 0;
    /// A file takes whole blocks.
    std::int64_t blockBytes = 1;
    /// Entries left for files and folders; nothing if their number is unlimited.
    std::optional<std::int64_t> entries;
};

/// A directory entry of a regular file.
struct FileEntry {
    FileIdentity identity;
    /// In bytes.
    std::int64_t size = 0;
};

/// A user and a group of the system, by number; 0 is root.
struct Owner {
    std::uint32_t user = 0;
    std::uint32_t group = 0;
    bool operator==(const Owner&) const = default;
};

/// An open folder. Everything in it is reached through it, by a name without slashes, and no link among its entries is
/// ever followed: planted links, or a path that is renamed in the meantime, lead nowhere else. Several threads may use
/// it.
class Folder {
public:
    /// Opens the folder that the user named; links on the way to it are followed.
    static Folder Open(const std::filesystem::path& path);
    /// Opens a folder in it. `below` names the folders on the way; each is made if it is missing and `make` is set.
    Folder Below(const std::filesystem::path& below, bool make) const;

    bool IsOpen() const { return fd_.IsOpen(); }
    const SystemError& Error() const { return error_; }
    /// For messages: the folder may have been renamed.
    const std::filesystem::path& Path() const { return path_; }

    /// Opens a regular file for reading.
    File Read(const std::string& name) const;
    /// Creates a new file for writing and reading, if the name is free.
    File CreateNew(const std::string& name) const;
    /// The same, replacing whatever has the name.
    File Create(const std::string& name) const;
    /// Opens a regular file without other hard links, for reading and writing.
    File Update(const std::string& name) const;
    /// Opens a regular file for locking, never for writing; creates it if it is missing.
    File OpenLock(const std::string& name) const;
    /// Renames an entry, replacing a file with the new name.
    SystemError Rename(const std::string& from, const std::string& to) const;
    SystemError Remove(const std::string& name) const;
    /// Removes the folder of this name if it is empty.
    void RemoveEmptyFolder(const std::string& name) const;

    /// The regular file of this name; nothing if it is anything else.
    std::optional<FileEntry> Entry(const std::string& name) const;
    /// The same for a path below the folder.
    std::optional<FileEntry> EntryBelow(const std::filesystem::path& path) const;
    /// True if `matches` holds for some entry.
    bool AnyEntry(const std::function<bool(const std::string& name)>& matches) const;

    /// The common owner of the folder and all folders directly in it; nothing if they differ.
    std::optional<Owner> OwnerOfFolders() const;
    void GiveTo(const Owner& owner) const;

    std::optional<FreeSpace> Space() const;
    /// Brings the names of the entries to stable storage.
    void SyncEntries() const;
    /// Brings everything that was written to the folder's file system to stable storage, entries included.
    bool Sync() const;

private:
    Folder(FileDescriptor fd, std::filesystem::path path);

    FileDescriptor fd_;
    SystemError error_;
    std::filesystem::path path_;
};

}  // namespace salvor
