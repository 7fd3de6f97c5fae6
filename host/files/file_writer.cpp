#include "host/files/file_writer.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <utility>

#include "host/files/digest.h"

namespace salvor {

namespace {

// Stays in a second-level cache between reading and hashing.
constexpr std::int64_t PieceBytes = 1 << 20;
// Below this the kernel copies no faster, and the disk does better with many files at once.
constexpr std::size_t LeastLargePiece = 1U << 18U;
constexpr const char* ImageStandsThere = "the image itself stands there";

}  // namespace

FileWriter::FileWriter(Medium& medium, const Folder& folder, std::string partialSuffix,
                       std::function<bool(std::int64_t)> progress)
    : medium_(medium),
      folder_(folder),
      partialSuffix_(std::move(partialSuffix)),
      progress_(std::move(progress)),
      piece_(static_cast<std::size_t>(PieceBytes / medium.SectorSize() * medium.SectorSize())),
      there_(piece_.size()) {
    if (const auto source = medium.CopySource()) {
        image_ = IdentityOf(*source);
    }
}

WriteResult FileWriter::Write(const PlannedFile& file) {
    const std::string name = std::filesystem::path(file.path).filename().string();
    const Folder& parent = ParentOf(file);
    WriteResult result;
    if (!parent.IsOpen()) {
        result.Fail(parent.Error());
        return result;
    }
    const std::optional<FileEntry> there = parent.Entry(name);
    if (IsImage(there)) {
        result.error = ImageStandsThere;
        return result;
    }
    if (there && there->size == file.Size() && HoldsPlannedBytes(parent, name, file, result)) {
        result.outcome = WriteOutcome::AlreadyThere;
    } else if (result.outcome != WriteOutcome::Stopped) {
        Copy(parent, name, file, result);
    }
    result.unreadableBytes = UnreadableBytes(file);
    return result;
}

const Folder& FileWriter::ParentOf(const PlannedFile& file) {
    // Each is a descriptor of every writer.
    constexpr std::size_t most = 64;
    const std::filesystem::path path = std::filesystem::path(file.path).parent_path();
    const auto known = parents_.find(path.native());
    if (known != parents_.end() && known->second.IsOpen()) {
        return known->second;
    }
    if (parents_.size() == most) {
        parents_.clear();
    }
    return parents_.insert_or_assign(path.native(), folder_.Below(path, true)).first->second;
}

bool FileWriter::IsImage(const std::optional<FileEntry>& there) const {
    return there && image_ && there->identity == *image_;
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

std::int64_t FileWriter::UnreadableBytes(const PlannedFile& file) const {
    std::vector<ByteRange> pieces;
    for (const Extent& extent : file.extents) {
        pieces.push_back({extent.startSector * medium_.SectorSize(), extent.bytes});
    }
    std::int64_t bytes = 0;
    for (const ByteRange& range : medium_.UnreadableIn(pieces)) {
        bytes += range.count;
    }
    return bytes;
}

bool FileWriter::HoldsPlannedBytes(const Folder& folder, const std::string& name, const PlannedFile& file,
                                   WriteResult& result) {
    File there = folder.Read(name);
    Sha256 hash;
    const bool same = there.IsOpen() && ForEachPiece(
                                            file,
                                            [&](std::size_t length, std::int64_t /*offset*/) {
                                                hash.Add(piece_.data(), length);
                                                return there.Read(there_.data(), length) == length &&
                                                       std::memcmp(there_.data(), piece_.data(), length) == 0;
                                            },
                                            result);
    if (same) {
        result.sha256 = hash.Hex();
    }
    return same;
}

void FileWriter::Copy(const Folder& folder, const std::string& name, const PlannedFile& file, WriteResult& result) {
    const std::string partial = name + partialSuffix_;
    File out = folder.CreateNew(partial);
    if (!out.IsOpen() && out.Error().IsTakenName()) {
        if (IsImage(folder.Entry(partial))) {
            result.error = ImageStandsThere;
            return;
        }
        out = folder.Create(partial);
    }
    if (!out.IsOpen()) {
        result.Fail(out.Error());
        return;
    }
    Sha256 hash;
    const auto takePiece = [&](std::size_t length, std::int64_t offset) {
        hash.Add(piece_.data(), length);
        if (length < LeastLargePiece) {
            return out.Write(piece_.data(), length);
        }
        bool isWritten = false;
        // The kernel reads the medium by itself and would fail on sectors that stand in the piece as zeros.
        const auto source = medium_.CopySource();
        if (source && kernelCopies_ && UnreadableBytes(file) == 0) {
            isWritten = kernelCopies_ = out.CopyFrom(*source, offset, length);
        }
        isWritten = isWritten || out.Write(piece_.data(), length);
        out.BeginToStore();
        return isWritten;
    };
    const bool whole = ForEachPiece(file, takePiece, result) && out.Close();
    const bool isLost = whole && file.Size() > 0 && UnreadableBytes(file) == file.Size();
    const SystemError error = whole && !isLost ? folder.Rename(partial, name) : out.Error();
    if (error) {
        result.Fail(error);
    } else if (isLost) {
        result.error = "none of its bytes can be read";
    } else if (whole) {
        result.outcome = WriteOutcome::Written;
        result.sha256 = hash.Hex();
        return;
    }
    folder.Remove(partial);
}

}  // namespace salvor
