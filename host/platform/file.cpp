#include "host/platform/file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace salvor {

std::optional<FileIdentity> IdentityOf(int descriptor) {
    struct stat info {};
    return fstat(descriptor, &info) == 0 ? std::optional(FileIdentity{info.st_dev, info.st_ino}) : std::nullopt;
}

bool File::Check(bool done) {
    if (!done) {
        error_ = SystemError::Last();
    }
    return done;
}

std::size_t File::Read(void* buffer, std::size_t length) {
    auto* const to = static_cast<char*>(buffer);
    std::size_t done = 0;
    while (done < length) {
        const ssize_t got = read(fd_.Get(), to + done, length - done);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (!Check(got >= 0) || got == 0) {
            break;
        }
        done += static_cast<std::size_t>(got);
    }
    return done;
}

bool File::ReadAt(std::int64_t offset, void* buffer, std::size_t length) {
    auto* const to = static_cast<char*>(buffer);
    std::size_t done = 0;
    while (done < length) {
        const ssize_t got = pread(fd_.Get(), to + done, length - done, offset + static_cast<std::int64_t>(done));
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (!Check(got >= 0) || got == 0) {
            return false;
        }
        done += static_cast<std::size_t>(got);
    }
    return true;
}

bool File::Write(const void* data, std::size_t length) {
    const auto* from = static_cast<const char*>(data);
    while (length > 0) {
        const ssize_t done = write(fd_.Get(), from, length);
        if (done < 0 && errno == EINTR) {
            continue;
        }
        if (!Check(done > 0)) {
            return false;
        }
        from += done;
        length -= static_cast<std::size_t>(done);
    }
    return true;
}

bool File::CopyFrom(int source, std::int64_t offset, std::size_t length) {
    loff_t from = offset;
    const off_t start = lseek(fd_.Get(), 0, SEEK_CUR);
    std::size_t left = length;
    while (left > 0) {
        const ssize_t done = copy_file_range(source, &from, fd_.Get(), nullptr, left, 0);
        if (done <= 0) {
            lseek(fd_.Get(), start, SEEK_SET);
            return false;
        }
        left -= static_cast<std::size_t>(done);
    }
    return true;
}

std::optional<std::int64_t> File::Size() const {
    struct stat info {};
    if (fstat(fd_.Get(), &info) != 0 || !S_ISREG(info.st_mode)) {
        return std::nullopt;
    }
    return info.st_size;
}

bool File::CutTo(std::int64_t bytes) {
    return Check(ftruncate(fd_.Get(), bytes) == 0 && lseek(fd_.Get(), bytes, SEEK_SET) == bytes);
}

bool File::KeepRoom(std::int64_t bytes) {
    const std::optional<std::int64_t> size = Size();
    return size && Check(fallocate(fd_.Get(), FALLOC_FL_KEEP_SIZE, *size, bytes) == 0);
}

void File::ReleaseRoom() {
    if (const std::optional<std::int64_t> size = Size()) {
        Check(ftruncate(fd_.Get(), *size) == 0);
    }
}

bool File::Lock() { return flock(fd_.Get(), LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK; }

bool File::Sync() { return Check(fsync(fd_.Get()) == 0 || errno == EINVAL || errno == EROFS); }

void File::BeginToStore() { sync_file_range(fd_.Get(), 0, 0, SYNC_FILE_RANGE_WRITE); }

bool File::Close() { return Check(fd_.Close()); }

}  // namespace salvor
