#include "host/files/file_pieces.h"

#include <algorithm>
#include <utility>

namespace salvor {

namespace {

// A piece stays in the second-level cache between reading and hashing.
constexpr std::int64_t PieceBytes = 1 << 20;

}  // namespace

FilePieces::FilePieces(Medium& medium, std::function<bool(std::int64_t)> progress)
    : medium_(medium),
      progress_(std::move(progress)),
      piece_(static_cast<std::size_t>(PieceBytes / medium.SectorSize() * medium.SectorSize())) {}

FilePieces::End FilePieces::ForEach(
    const PlannedFile& file,
    const std::function<bool(const std::uint8_t* bytes, std::size_t length, std::int64_t offset)>& takePiece,
    std::int64_t from) {
    const std::int64_t sectorSize = medium_.SectorSize();
    const auto room = static_cast<std::int64_t>(piece_.size());
    std::int64_t before = 0;
    for (const Extent& extent : file.extents) {
        for (std::int64_t at = std::clamp<std::int64_t>(from - before, 0, extent.bytes); at < extent.bytes;) {
            const std::int64_t length = std::min(room, extent.bytes - at);
            const std::int64_t sector = extent.startSector + at / sectorSize;
            if (extent.IsHole()) {
                std::fill_n(piece_.begin(), length, std::uint8_t{0});
            } else {
                medium_.Read(sector, piece_.data(), (length + sectorSize - 1) / sectorSize);
            }
            if (medium_.IsInterrupted()) {
                return End::Stopped;
            }
            if (!takePiece(piece_.data(), static_cast<std::size_t>(length),
                           extent.IsHole() ? -1 : sector * sectorSize)) {
                return End::Refused;
            }
            at += length;
            if (progress_(before + at)) {
                return End::Stopped;
            }
        }
        before += extent.bytes;
    }
    return End::Done;
}

bool FilePieces::MayBegin(const PlannedFile& file, std::int64_t from) const {
    for (const Extent& extent : file.extents) {
        if (from <= extent.bytes) {
            return from == extent.bytes || from % medium_.SectorSize() == 0;
        }
        from -= extent.bytes;
    }
    return false;
}

}  // namespace salvor
