#include "host/platform/device.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <utility>

namespace salvor {

namespace {

// Buffers of uncached reads must be aligned to this many bytes.
constexpr std::size_t DirectAlignment = 4096;

std::size_t ReadFully(int fd, std::int64_t offset, std::uint8_t* buffer, std::size_t length) {
    static_assert(sizeof(off_t) == 8);
    std::size_t done = 0;
    errno = 0;
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

DeviceKind KindOf(const struct stat& info) {
    if (S_ISREG(info.st_mode)) {
        return DeviceKind::File;
    }
    if (S_ISBLK(info.st_mode)) {
        return DeviceKind::BlockDevice;
    }
    if (S_ISDIR(info.st_mode)) {
        return DeviceKind::Folder;
    }
    return S_ISFIFO(info.st_mode) || S_ISSOCK(info.st_mode) ? DeviceKind::Pipe : DeviceKind::Other;
}

// Opens the same file or device again, with read-ahead state of its own; closed if the system does not allow it.
FileDescriptor OpenAnew(int descriptor, int flags) {
    const std::string path = "/proc/self/fd/" + std::to_string(descriptor);
    return FileDescriptor(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | flags));
}

// Of this machine, in bytes.
std::int64_t MemorySize() {
    static const std::int64_t size = std::int64_t{sysconf(_SC_PHYS_PAGES)} * sysconf(_SC_PAGESIZE);
    return size;
}

FileDescriptor OpenAnewOrTake(int descriptor, int flags) {
    FileDescriptor opened = OpenAnew(descriptor, flags);
    return opened.IsOpen() ? std::move(opened) : FileDescriptor(descriptor);
}

}  // namespace

Device::Device(const std::string& path) : fd_(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)) {
    LookAt();
    if (kind_ == DeviceKind::BlockDevice) {
        direct_ = FileDescriptor(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_DIRECT));
    }
}

Device::Device(std::span<const int> descriptors) : fd_(OpenAnewOrTake(descriptors[0], 0)) {
    LookAt();
    if (descriptors.size() > 1) {
        direct_ = OpenAnewOrTake(descriptors[1], O_DIRECT);
    }
}

std::vector<int> Device::Descriptors() const {
    std::vector<int> descriptors{fd_.Get()};
    if (direct_.IsOpen()) {
        descriptors.push_back(direct_.Get());
    }
    return descriptors;
}

void Device::LookAt() {
    struct stat info {};
    if (!fd_.IsOpen() || fstat(fd_.Get(), &info) != 0) {
        error_ = SystemError::Last();
        return;
    }
    kind_ = KindOf(info);
    if (kind_ == DeviceKind::File) {
        size_ = info.st_size;
        // The system counts blocks of 512 bytes, whatever those of the file system are.
        mayHaveHoles_ = info.st_blocks < (size_ + 511) / 512;
    } else if (kind_ == DeviceKind::BlockDevice && !MeasureBlockDevice()) {
        error_ = SystemError::Last();
        kind_ = DeviceKind::Unopened;
    }
    posix_fadvise(fd_.Get(), 0, 0, POSIX_FADV_SEQUENTIAL);
}

bool Device::MeasureBlockDevice() {
    // A worker in its sandbox may not ask for it.
    MemorySize();
    std::uint64_t bytes = 0;
    if (ioctl(fd_.Get(), BLKGETSIZE64, &bytes) != 0) {
        return false;
    }
    size_ = static_cast<std::int64_t>(bytes);
    unsigned int sectorSize = 0;
    if (ioctl(fd_.Get(), BLKPBSZGET, &sectorSize) == 0 && sectorSize > 512 && sectorSize <= DirectAlignment) {
        sectorSize_ = static_cast<std::int32_t>(sectorSize);
    }
    return true;
}

// What has been read is read again when files are validated and written. A medium that does not fit the cache gains
// nothing from it, and reading large blocks past it saves copying them.
std::size_t Device::ReadAt(std::int64_t offset, std::uint8_t* buffer, std::size_t length) const {
    constexpr std::size_t largeBlock = std::size_t{512} << 10U;
    return length >= largeBlock && direct_.IsOpen() && size_ > MemorySize()
               ? ReadUncached(offset, buffer, length)
               : ReadFully(fd_.Get(), offset, buffer, length);
}

std::size_t Device::ReadUncached(std::int64_t offset, std::uint8_t* buffer, std::size_t length) const {
    const std::size_t room = (length + DirectAlignment - 1) / DirectAlignment * DirectAlignment;
    const std::unique_ptr<void, decltype(&std::free)> aligned(
        direct_.IsOpen() ? std::aligned_alloc(DirectAlignment, room) : nullptr, &std::free);
    if (aligned) {
        const std::size_t got = ReadFully(direct_.Get(), offset, static_cast<std::uint8_t*>(aligned.get()), length);
        // If the device rejects the offset or the length, that does not make the sector bad.
        if (got > 0 || errno != EINVAL) {
            std::memcpy(buffer, aligned.get(), got);
            return got;
        }
    }
    return ReadFully(fd_.Get(), offset, buffer, length);
}

ByteRange Device::NextData(std::int64_t offset) const {
    // A short hole is read faster than it is skipped, and the full length of a run of data is not needed at once.
    constexpr std::int64_t shortHole = std::int64_t{64} << 10U;
    constexpr std::int64_t longRun = std::int64_t{1} << 20U;
    if (!mayHaveHoles_ || offset >= size_) {
        return {offset, std::max<std::int64_t>(size_ - offset, 0)};
    }
    const auto seek = [this](std::int64_t from, int what) -> std::int64_t {
        const off_t at = lseek(fd_.Get(), from, what);
        // After the last data there is a hole up to the end; where holes are not supported, everything is data.
        return at >= 0 ? std::min<std::int64_t>(at, size_) : what == SEEK_DATA && errno != ENXIO ? from : size_;
    };
    const std::int64_t begin = seek(offset, SEEK_DATA);
    std::int64_t end = begin;
    for (std::int64_t next = begin; next < size_ && next - end < shortHole && end - begin < longRun;) {
        end = seek(next, SEEK_HOLE);
        next = end < size_ ? seek(end, SEEK_DATA) : size_;
    }
    return {begin, end - begin};
}

void Device::ReadOnlyWhatIsAsked() const { posix_fadvise(fd_.Get(), 0, 0, POSIX_FADV_RANDOM); }

}  // namespace salvor
