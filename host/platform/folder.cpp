#include "host/platform/folder.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <memory>
#include <string_view>
#include <utility>

namespace salvor {

namespace {

namespace fs = std::filesystem;

constexpr mode_t NewFileMode = 0666;
constexpr mode_t NewFolderMode = 0777;

struct CloseListing {
    void operator()(DIR* listing) const { closedir(listing); }
};

FileDescriptor OpenFolderAt(int parent, const char* name, int flags) {
    return FileDescriptor(openat(parent, name, O_RDONLY | O_DIRECTORY | O_CLOEXEC | flags));
}

// A pipe is not waited for; like everything else that is not a regular file, it is refused.
File OpenRegular(int parent, const char* name, int flags) {
    FileDescriptor fd(openat(parent, name, flags | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, NewFileMode));
    struct stat info {};
    if (!fd.IsOpen() || fstat(fd.Get(), &info) != 0) {
        return File(SystemError::Last());
    }
    return S_ISREG(info.st_mode) ? File(std::move(fd)) : File(SystemError::WrongKind());
}

}  // namespace

Folder::Folder(FileDescriptor fd, fs::path path) : fd_(std::move(fd)), path_(std::move(path)) {
    if (!fd_.IsOpen()) {
        error_ = SystemError::Last();
    }
}

Folder Folder::Open(const fs::path& path) { return {OpenFolderAt(AT_FDCWD, path.c_str(), 0), path}; }

Folder Folder::Below(const fs::path& below, bool make) const {
    FileDescriptor at = OpenFolderAt(fd_.Get(), ".", 0);
    for (const fs::path& name : below) {
        if (name == ".." || name.is_absolute()) {
            errno = EINVAL;
            return {FileDescriptor(), path_ / below};
        }
        if (make && mkdirat(at.Get(), name.c_str(), NewFolderMode) != 0 && errno != EEXIST) {
            return {FileDescriptor(), path_ / below};
        }
        at = OpenFolderAt(at.Get(), name.c_str(), O_NOFOLLOW);
        if (!at.IsOpen()) {
            break;
        }
    }
    return {std::move(at), path_ / below};
}

File Folder::Read(const std::string& name) const { return OpenRegular(fd_.Get(), name.c_str(), O_RDONLY); }

File Folder::CreateNew(const std::string& name) const {
    FileDescriptor fd(openat(fd_.Get(), name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, NewFileMode));
    return fd.IsOpen() ? File(std::move(fd)) : File(SystemError::Last());
}

File Folder::Create(const std::string& name) const {
    // The file is replaced, not emptied: its bytes may belong to another hard link.
    if (unlinkat(fd_.Get(), name.c_str(), 0) != 0 && errno != ENOENT) {
        return File(SystemError::Last());
    }
    return CreateNew(name);
}

File Folder::Update(const std::string& name) const {
    File file = OpenRegular(fd_.Get(), name.c_str(), O_RDWR);
    struct stat info {};
    // The file's bytes may belong to another hard link.
    const bool isOwn = file.IsOpen() && fstat(file.Descriptor(), &info) == 0 && info.st_nlink == 1;
    return isOwn || !file.IsOpen() ? std::move(file) : File(SystemError::WrongKind());
}

File Folder::OpenLock(const std::string& name) const { return OpenRegular(fd_.Get(), name.c_str(), O_RDWR | O_CREAT); }

SystemError Folder::Rename(const std::string& from, const std::string& to) const {
    return renameat(fd_.Get(), from.c_str(), fd_.Get(), to.c_str()) == 0 ? SystemError() : SystemError::Last();
}

SystemError Folder::Remove(const std::string& name) const {
    return unlinkat(fd_.Get(), name.c_str(), 0) == 0 ? SystemError() : SystemError::Last();
}

void Folder::RemoveEmptyFolder(const std::string& name) const { unlinkat(fd_.Get(), name.c_str(), AT_REMOVEDIR); }

std::optional<FileEntry> Folder::Entry(const std::string& name) const {
    struct stat info {};
    if (fstatat(fd_.Get(), name.c_str(), &info, AT_SYMLINK_NOFOLLOW) != 0 || !S_ISREG(info.st_mode)) {
        return std::nullopt;
    }
    return FileEntry{{info.st_dev, info.st_ino}, info.st_size};
}

std::optional<FileEntry> Folder::EntryBelow(const fs::path& path) const {
    const Folder parent = Below(path.parent_path(), /*make=*/false);
    return parent.IsOpen() ? parent.Entry(path.filename().string()) : std::nullopt;
}

bool Folder::AnyEntry(const std::function<bool(const std::string& name)>& matches) const {
    FileDescriptor again = OpenFolderAt(fd_.Get(), ".", 0);
    const std::unique_ptr<DIR, CloseListing> entries(fdopendir(again.Get()));
    if (!entries) {
        return true;
    }
    // The listing owns it now.
    again.Release();
    while (const dirent* const entry = readdir(entries.get())) {
        const std::string name = static_cast<const char*>(entry->d_name);
        if (name != "." && name != ".." && matches(name)) {
            return true;
        }
    }
    return false;
}

std::optional<Owner> Folder::OwnerOfFolders() const {
    struct stat own {};
    if (fstat(fd_.Get(), &own) != 0) {
        return std::nullopt;
    }
    const bool isOtherThere = AnyEntry([&](const std::string& name) {
        struct stat info {};
        return fstatat(fd_.Get(), name.c_str(), &info, AT_SYMLINK_NOFOLLOW) == 0 && S_ISDIR(info.st_mode) &&
               info.st_uid != own.st_uid;
    });
    return isOtherThere ? std::nullopt : std::optional(Owner{own.st_uid, own.st_gid});
}

void Folder::GiveTo(const Owner& owner) const {
    // If this fails, the folder stays root's, and so do the rights in use.
    [[maybe_unused]] const int given = fchown(fd_.Get(), owner.user, owner.group);
}

std::optional<FreeSpace> Folder::Space() const {
    struct statvfs info {};
    if (fstatvfs(fd_.Get(), &info) != 0) {
        return std::nullopt;
    }
    FreeSpace space;
    space.blockBytes = static_cast<std::int64_t>(info.f_frsize);
    space.bytes = static_cast<std::int64_t>(info.f_bavail) * space.blockBytes;
    // File systems that create entries on demand report a total of 0.
    if (info.f_files > 0) {
        space.entries = static_cast<std::int64_t>(info.f_favail);
    }
    return space;
}

void Folder::SyncEntries() const { fsync(fd_.Get()); }

bool Folder::Sync() const { return syncfs(fd_.Get()) == 0; }

}  // namespace salvor
