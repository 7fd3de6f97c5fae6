#include "host/files/file_writer.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <utility>

#include "host/files/sha256.h"

namespace salvor {

namespace {

// Stays in a second-level cache between reading and hashing.
constexpr std::int64_t PieceBytes = 1 << 20;
constexpr const char* PartialSuffix = ".part";

}  // namespace

FileWriter::FileWriter(Medium& medium, const Folder& folder, std::function<bool(std::int64_t)> progress)
    : medium_(medium),
      folder_(folder),
      progress_(std::move(progress)),
      piece_(static_cast<std::size_t>(PieceBytes / medium.SectorSize() * medium.SectorSize())),
      there_(piece_.size()) {}

WriteResult FileWriter::Write(const PlannedFile& file) {
    const std::filesystem::path path(file.path);
    const std::string name = path.filename().string();
    const Folder parent = folder_.Below(path.parent_path(), true);
    WriteResult result;
    if (!parent.IsOpen()) {
        result.Fail(parent.Error());
        return result;
    }
    if (const auto image = medium_.CopySource();
        image && (parent.Holds(name, *image) || parent.Holds(name + PartialSuffix, *image))) {
        result.error = "the image itself stands there";
        return result;
    }
    if (HoldsPlannedBytes(parent, name, file, result)) {
        result.outcome = WriteOutcome::AlreadyThere;
    } else if (result.outcome != WriteOutcome::Stopped) {
        Copy(parent, name, file, result);
    }
    result.unreadableBytes = UnreadableBytes(file);
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
    if (folder.SizeOf(name) != file.Size()) {
        return false;
    }
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
    const std::string partial = name + PartialSuffix;
    File out = folder.Create(partial);
    if (!out.IsOpen()) {
        result.Fail(out.Error());
        return;
    }
    Sha256 hash;
    const auto takePiece = [&](std::size_t length, std::int64_t offset) {
        hash.Add(piece_.data(), length);
        // The kernel reads the medium by itself and would fail on sectors that stand in the piece as zeros.
        const auto source = medium_.CopySource();
        if (source && kernelCopies_ && UnreadableBytes(file) == 0) {
            kernelCopies_ = out.CopyFrom(*source, offset, length);
            if (kernelCopies_) {
                return true;
            }
        }
        return out.Write(piece_.data(), length);
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
