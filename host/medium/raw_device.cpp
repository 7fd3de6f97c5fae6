#include "host/medium/raw_device.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <new>

#include "host/app/failure.h"
#include "host/platform/file_descriptor.h"

namespace salvor {

namespace {

std::size_t ReadFully(int fd, std::int64_t offset, std::uint8_t* buffer, std::size_t length) {
    std::size_t done = 0;
    while (done < length) {
        const ssize_t got = pread(fd, buffer + done, length - done, offset + static_cast<std::int64_t>(done));
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got <= 0) {
            break;
        }
        done += static_cast<std::size_t>(got);
    }
    return done;
}

class ImageFile : public RawDevice {
public:
    ImageFile(FileDescriptor fd, std::int64_t size) : fd_(std::move(fd)), size_(size) {}
    std::int64_t Size() const override { return size_; }
    std::size_t ReadAt(std::int64_t offset, std::uint8_t* buffer, std::size_t length) override {
        return ReadFully(fd_.Get(), offset, buffer, length);
    }
    std::optional<int> CopySource() const override { return fd_.Get(); }

private:
    FileDescriptor fd_;
    std::int64_t size_;
};

class BlockDevice : public RawDevice {
public:
    BlockDevice(FileDescriptor fd, FileDescriptor direct, std::int64_t size)
        : fd_(std::move(fd)), direct_(std::move(direct)), size_(size) {}
    std::int64_t Size() const override { return size_; }
    std::size_t ReadAt(std::int64_t offset, std::uint8_t* buffer, std::size_t length) override {
        return ReadFully(fd_.Get(), offset, buffer, length);
    }

    // The page cache reads whole pages, so one bad sector takes its neighbours along; past the cache they can be told
    // apart. The kernel demands an aligned buffer there.
    bool ReadAgain(std::int64_t offset, std::uint8_t* buffer, std::size_t length) override {
        constexpr std::size_t alignment = 4096;
        const std::size_t room = (length + alignment - 1) / alignment * alignment;
        const std::unique_ptr<void, decltype(&std::free)> aligned(std::aligned_alloc(alignment, room), &std::free);
        if (direct_.IsOpen() && aligned &&
            ReadFully(direct_.Get(), offset, static_cast<std::uint8_t*>(aligned.get()), length) == length) {
            std::memcpy(buffer, aligned.get(), length);
            return true;
        }
        return ReadAt(offset, buffer, length) == length;
    }

private:
    FileDescriptor fd_;
    FileDescriptor direct_;
    std::int64_t size_;
};

}  // namespace

std::unique_ptr<RawDevice> OpenDevice(const std::string& path) {
    const auto fail = [&](std::string_view why) {
        return Failure(ExitStatus::NotStarted, fmt::format("cannot read the image '{}': {}", path, why));
    };
    // Without blocking, so that a pipe given by mistake is refused and not waited for.
    FileDescriptor fd(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat info {};
    if (!fd.IsOpen() || fstat(fd.Get(), &info) != 0) {
        throw fail(ErrorText(errno));
    }
    std::int64_t size = 0;
    if (S_ISREG(info.st_mode)) {
        size = info.st_size;
    } else if (S_ISBLK(info.st_mode)) {
        std::uint64_t bytes = 0;
        if (ioctl(fd.Get(), BLKGETSIZE64, &bytes) != 0) {
            throw fail(ErrorText(errno));
        }
        size = static_cast<std::int64_t>(bytes);
    } else if (S_ISDIR(info.st_mode)) {
        throw fail("it is a folder; name an image file or a block device");
    } else {
        throw fail("it is neither a regular file nor a block device");
    }
    if (size == 0) {
        throw fail("it is empty");
    }
    posix_fadvise(fd.Get(), 0, 0, POSIX_FADV_SEQUENTIAL);
    if (S_ISREG(info.st_mode)) {
        return std::make_unique<ImageFile>(std::move(fd), size);
    }
    return std::make_unique<BlockDevice>(std::move(fd),
                                         FileDescriptor(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_DIRECT)), size);
}

}  // namespace salvor
