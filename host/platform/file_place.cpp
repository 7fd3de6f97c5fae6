#include "host/platform/file_place.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace salvor {

namespace fs = std::filesystem;

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

void FilePlace::SyncEntry() const {
    if (folder_ != nullptr) {
        folder_->SyncEntries();
    } else if (!isOutput_) {
        Folder::Open(fs::absolute(path_).parent_path()).SyncEntries();
    }
}

}  // namespace salvor
