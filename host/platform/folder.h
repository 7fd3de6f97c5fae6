#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>

#include "host/platform/file.h"

namespace salvor {

/// What a file system has left for a person's files.
struct FreeSpace {
    std::int64_t bytes = 0;
    /// A file takes whole blocks.
    std::int64_t blockBytes = 1;
    /// Files and folders; nothing where their number has no bound.
    std::optional<std::int64_t> entries;
};

/// A regular file as its folder shows it.
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

/// An open folder. Everything in it is reached through it and by a name without folders, and no link among its entries
/// is ever followed: what others plant there, or a path that is renamed meanwhile, leads nowhere else. Several threads
/// may use it.
class Folder {
public:
    /// The folder that a person named; links on the way to it are followed.
    static Folder Open(const std::filesystem::path& path);
    /// One in it, of which `below` names the folders on the way; each is made if it is missing and `make` says so.
    Folder Below(const std::filesystem::path& below, bool make) const;

    bool IsOpen() const { return fd_.IsOpen(); }
    const SystemError& Error() const { return error_; }
    /// For people: it may have been renamed.
    const std::filesystem::path& Path() const { return path_; }

    /// Opens a regular file to read it.
    File Read(const std::string& name) const;
    /// Makes a new file for writing and reading where nothing has the name.
    File CreateNew(const std::string& name) const;
    /// The same in place of whatever has the name.
    File Create(const std::string& name) const;
    /// Opens a regular file that has no other name, to read and to change it.
    File Update(const std::string& name) const;
    /// Opens a regular file that nobody writes to, to lock it; makes it if it is missing.
    File OpenLock(const std::string& name) const;
    /// Gives an entry another name, in place of the file that has it.
    SystemError Rename(const std::string& from, const std::string& to) const;
    SystemError Remove(const std::string& name) const;
    /// Of this name, if nothing is in it.
    void RemoveEmptyFolder(const std::string& name) const;

    /// What has this name; nothing if that is no regular file.
    std::optional<FileEntry> Entry(const std::string& name) const;
    /// True if an entry is there for which `matches` does.
    bool AnyEntry(const std::function<bool(const std::string& name)>& matches) const;

    /// The one owner of the folder and of all folders directly in it.
    std::optional<Owner> OwnerOfFolders() const;
    void GiveTo(const Owner& owner) const;

    std::optional<FreeSpace> Space() const;
    /// The names of the entries reach stable storage.
    void SyncEntries() const;
    /// Everything that was written to the folder's file system reaches stable storage, entries too.
    bool Sync() const;

private:
    Folder(FileDescriptor fd, std::filesystem::path path);

    FileDescriptor fd_;
    SystemError error_;
    std::filesystem::path path_;
};

}  // namespace salvor
