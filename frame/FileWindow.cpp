#include "frame/FileWindow.h"

#include <algorithm>
#include <limits>

#include "frame/contract/ISectorSource.h"

std::int64_t MediumSize(const SectorBlock& block) {
    constexpr std::int64_t largest = std::numeric_limits<std::int64_t>::max();
    if (block.source == nullptr) {
        return largest;
    }
    SectorGeometry geometry{};
    block.source->GetGeometry(&geometry);
    if (geometry.bytesPerSector == 0 || geometry.sectorCount < 1 ||
        geometry.sectorCount > largest / geometry.bytesPerSector) {
        return largest;
    }
    return geometry.sectorCount * geometry.bytesPerSector;
}

namespace {

// The bytes from `offset` on of a range that begins at `start`; empty when `offset` lies outside.
ByteSpan PartFrom(ByteSpan range, std::int64_t start, std::int64_t offset) {
    if (offset < start || offset - start >= static_cast<std::int64_t>(range.size())) {
        return {};
    }
    return range.subspan(static_cast<std::size_t>(offset - start));
}

}  // namespace

// The buffer is filled before it is read.
// NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init)
FileWindow::FileWindow(const Candidate& candidate, std::int64_t limit, WorkMeter& meter)
    : candidate_(candidate),
      blockBytes_(candidate.RestOfBlock()),
      limit_(std::max<std::int64_t>(std::min(limit, MediumSize(candidate.block)), 0)),
      meter_(meter) {}

ByteSpan FileWindow::At(std::int64_t offset, std::size_t length) {
    const ByteSpan bytes = From(offset, length);
    return bytes.size() < length ? ByteSpan() : bytes.first(length);
}

ByteSpan FileWindow::From(std::int64_t offset, std::size_t wanted) {
    if (offset < 0 || offset >= limit_) {
        return {};
    }
    const auto left = static_cast<std::uint64_t>(limit_ - offset);
    const std::size_t enough = left < wanted ? static_cast<std::size_t>(left) : wanted;
    if (const ByteSpan bytes = PartFrom(piece_, pieceStart_, offset); !bytes.empty() && bytes.size() >= enough) {
        return bytes;
    }
    return LoadPiece(offset, enough, left < PieceBytes ? static_cast<std::size_t>(left) : PieceBytes);
}

ByteSpan FileWindow::LoadPiece(std::int64_t offset, std::size_t wanted, std::size_t length) {
    pieceStart_ = offset;
    piece_ = {};
    if (meter_.IsExhausted()) {
        return {};
    }
    meter_.Charge(PieceBytes);
    if (const ByteSpan bytes = PartFrom(blockBytes_, 0, offset); !bytes.empty() && bytes.size() >= wanted) {
        piece_ = bytes.first(std::min(bytes.size(), length));
        return piece_;
    }
    if (!reader_) {
        reader_.emplace(&candidate_.block, candidate_.startSector, static_cast<std::uint64_t>(limit_));
    }
    reader_->Seek(offset);
    if (reader_->Read(buffer_.data(), static_cast<std::uint32_t>(length))) {
        piece_ = ByteSpan(buffer_).first(length);
    }
    return piece_;
}

std::optional<std::int64_t> FileWindow::Find(const ByteMark& mark, std::int64_t from, std::int64_t to) {
    while (from < to) {
        ByteSpan bytes = From(from, mark.size());
        if (static_cast<std::int64_t>(bytes.size()) > to - from) {
            bytes = bytes.first(static_cast<std::size_t>(to - from));
        }
        if (bytes.size() < mark.size()) {
            return std::nullopt;
        }
        if (const std::optional<std::size_t> found = mark.FindIn(bytes)) {
            return from + static_cast<std::int64_t>(*found);
        }
        from += static_cast<std::int64_t>(bytes.size() - mark.size()) + 1;
    }
    return std::nullopt;
}
