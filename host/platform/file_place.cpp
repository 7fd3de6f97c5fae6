#include "host/platform/file_place.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <system_error>

namespace salvor {

namespace fs = std::filesystem;

namespace {

// The path with its links resolved.
fs::path WithoutLinks(const fs::path& path) {
    std::error_code error;
    const fs::path real = fs::canonical(path, error);
    return error ? path : real;
}

}  // namespace

FilePlace FilePlace::StandardOutput() {
    FilePlace place(fs::path("standard output"));
    place.isOutput_ = true;
    return place;
}

std::string FilePlace::Text() const { return (folder_ != nullptr ? folder_->Path() / path_ : path_).string(); }

File FilePlace::Read() const {
    if (folder_ != nullptr) {
        return folder_->Read(path_.string());
    }
    FileDescriptor fd(open(path_.c_str(), O_RDONLY | O_CLOEXEC));
    return fd.IsOpen() ? File(std::move(fd)) : File(SystemError::Last());
}

File FilePlace::Create() const {
    if (folder_ != nullptr) {
        return folder_->Create(path_.string());
    }
    struct stat info {};
    const bool isThere = lstat(path_.c_str(), &info) == 0;
    if (!isOutput_ && (!isThere || S_ISREG(info.st_mode))) {
        const Folder folder = Folder::Open(fs::absolute(path_).parent_path());
        return folder.IsOpen() ? folder.Create(path_.filename().string()) : File(folder.Error());
    }
    FileDescriptor fd(isOutput_ ? fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0)
                                : open(path_.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666));
    return fd.IsOpen() ? File(std::move(fd)) : File(SystemError::Last());
}

bool FilePlace::IsOwnDraft() const {
    std::error_code error;
    return isOutput_ || (folder_ == nullptr && fs::exists(path_, error) && !fs::is_regular_file(path_, error));
}

FilePlace FilePlace::Draft(const std::string& suffix) const {
    if (IsOwnDraft()) {
        return *this;
    }
    return folder_ != nullptr ? FilePlace(*folder_, path_.string() + suffix)
                              : FilePlace(WithoutLinks(path_).string() + suffix);
}

SystemError FilePlace::TakeFrom(const FilePlace& draft) const {
    if (IsOwnDraft()) {
        return {};
    }
    if (folder_ != nullptr) {
        return folder_->Rename(draft.path_.string(), path_.string());
    }
    return rename(draft.path_.c_str(), WithoutLinks(path_).c_str()) == 0 ? SystemError() : SystemError::Last();
}

void FilePlace::SyncEntry() const {
    if (folder_ != nullptr) {
        folder_->SyncEntries();
    } else if (!isOutput_) {
        Folder::Open(fs::absolute(path_).parent_path()).SyncEntries();
    }
}

}  // namespace salvor
