#include "host/files/file_writer.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>

#include "host/app/failure.h"
#include "host/files/sha256.h"
#include "host/files/write_all.h"
#include "host/platform/file_descriptor.h"

namespace salvor {

namespace {

namespace fs = std::filesystem;

// Stays in a second-level cache between reading and hashing.
constexpr std::int64_t PieceBytes = 1 << 20;

// Size of the regular file at the path itself, not of what a link points to.
std::optional<std::int64_t> SizeOfRegularFile(const fs::path& path) {
    struct stat info {};
    if (lstat(path.c_str(), &info) != 0 || !S_ISREG(info.st_mode)) {
        return std::nullopt;
    }
    return info.st_size;
}

bool ReadExactly(int fd, std::uint8_t* buffer, std::size_t length) {
    while (length > 0) {
        const ssize_t got = read(fd, buffer, length);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got <= 0) {
            return false;
        }
        buffer += got;
        length -= static_cast<std::size_t>(got);
    }
    return true;
}

// Lets the kernel copy, which shares the blocks where the file system can. False, with nothing written, if it does not
// serve here.
bool CopyInKernel(int from, std::int64_t offset, int to, std::size_t length) {
    loff_t source = offset;
    const auto start = lseek(to, 0, SEEK_CUR);
    std::size_t left = length;
    while (left > 0) {
        const ssize_t done = copy_file_range(from, &source, to, nullptr, left, 0);
        if (done <= 0) {
            lseek(to, start, SEEK_SET);
            return false;
        }
        left -= static_cast<std::size_t>(done);
    }
    return true;
}

}  // namespace

FileWriter::FileWriter(Medium& medium, fs::path folder, std::function<bool(std::int64_t)> progress)
    : medium_(medium),
      folder_(std::move(folder)),
      progress_(std::move(progress)),
      piece_(static_cast<std::size_t>(PieceBytes / medium.SectorSize() * medium.SectorSize())) {}

WriteResult FileWriter::Write(const PlannedFile& file) {
    const fs::path path = folder_ / file.path;
    WriteResult result;
    std::error_code error;
    fs::create_directories(path.parent_path(), error);
    if (error) {
        result.error = error.message();
        return result;
    }
    if (IsImage(path) || IsImage(path.string() + ".part")) {
        result.error = "the image itself stands there";
        return result;
    }
    if (HoldsPlannedBytes(path, file, result)) {
        result.outcome = WriteOutcome::AlreadyThere;
    } else if (result.outcome != WriteOutcome::Stopped) {
        Copy(path, file, result);
    }
    result.hasUnreadableSectors = HoldsUnreadable(file);
    return result;
}

// Hands the file's bytes on in large pieces, each with its offset on the medium. False when `takePiece` wants no more
// or the person stops the run, which `result` says then.
template <class TakePiece>
bool FileWriter::ForEachPiece(const PlannedFile& file, TakePiece takePiece, WriteResult& result) {
    const std::int64_t sectorSize = medium_.SectorSize();
    const auto room = static_cast<std::int64_t>(piece_.size());
    std::int64_t done = 0;
    for (const Extent& extent : file.extents) {
        for (std::int64_t at = 0; at < extent.bytes;) {
            const std::int64_t length = std::min(room, extent.bytes - at);
            const std::int64_t sector = extent.startSector + at / sectorSize;
            medium_.Read(sector, piece_.data(), (length + sectorSize - 1) / sectorSize);
            if (medium_.IsInterrupted()) {
                result.outcome = WriteOutcome::Stopped;
                return false;
            }
            if (!takePiece(static_cast<std::size_t>(length), sector * sectorSize)) {
                return false;
            }
            at += length;
            done += length;
            if (progress_(done)) {
                result.outcome = WriteOutcome::Stopped;
                return false;
            }
        }
    }
    return true;
}

bool FileWriter::IsImage(const fs::path& path) const {
    struct stat there {};
    struct stat image {};
    const auto fd = medium_.CopySource();
    return fd && stat(path.c_str(), &there) == 0 && fstat(*fd, &image) == 0 && there.st_dev == image.st_dev &&
           there.st_ino == image.st_ino;
}

bool FileWriter::HoldsUnreadable(const PlannedFile& file) const {
    return std::ranges::any_of(file.extents, [this](const Extent& extent) {
        return medium_.HoldsUnreadable(
            {extent.startSector, (extent.bytes + medium_.SectorSize() - 1) / medium_.SectorSize()});
    });
}

bool FileWriter::HoldsPlannedBytes(const fs::path& path, const PlannedFile& file, WriteResult& result) {
    if (SizeOfRegularFile(path) != file.Size()) {
        return false;
    }
    const FileDescriptor fd(open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
    std::vector<std::uint8_t> there(piece_.size());
    Sha256 hash;
    const bool same = ForEachPiece(
        file,
        [&](std::size_t length, std::int64_t /*offset*/) {
            hash.Add(piece_.data(), length);
            return ReadExactly(fd.Get(), there.data(), length) && std::memcmp(there.data(), piece_.data(), length) == 0;
        },
        result);
    if (same) {
        result.sha256 = hash.Hex();
    }
    return same;
}

void FileWriter::Copy(const fs::path& path, const PlannedFile& file, WriteResult& result) {
    const std::string partial = path.string() + ".part";
    FileDescriptor fd(open(partial.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0666));
    if (!fd.IsOpen()) {
        result.error = ErrorText(errno);
        return;
    }
    Sha256 hash;
    const bool whole = ForEachPiece(
        file,
        [&](std::size_t length, std::int64_t offset) {
            hash.Add(piece_.data(), length);
            // The kernel reads the medium by itself and would fail on sectors that stand in the piece as zeros.
            const auto source = medium_.CopySource();
            kernelCopies_ =
                kernelCopies_ && source && !HoldsUnreadable(file) && CopyInKernel(*source, offset, fd.Get(), length);
            if (kernelCopies_ || WriteAll(fd.Get(), piece_.data(), length)) {
                return true;
            }
            result.error = ErrorText(errno);
            return false;
        },
        result);
    if (whole && (!fd.Close() || rename(partial.c_str(), path.c_str()) != 0)) {
        result.error = ErrorText(errno);
    }
    if (whole && result.error.empty()) {
        result.outcome = WriteOutcome::Written;
        result.sha256 = hash.Hex();
    } else {
        unlink(partial.c_str());
    }
}

std::int64_t SpaceNeeded(const Plan& plan, const fs::path& folder) {
    std::int64_t needed = 0;
    for (const PlannedFile& file : plan.files) {
        if (SizeOfRegularFile(folder / file.path) != file.Size()) {
            needed = AddSizes(needed, file.Size());
        }
    }
    return needed;
}

}  // namespace salvor
