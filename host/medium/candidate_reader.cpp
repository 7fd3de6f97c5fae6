#include "host/medium/candidate_reader.h"

#include <algorithm>

namespace salvor {

namespace {

// Read at least, since what lies next to each other is wanted together.
constexpr std::int64_t PieceBytes = 4096;

}  // namespace

CandidateReader::CandidateReader(Medium& medium, std::int64_t startSector, std::int64_t longest,
                                 ReadAllowance& allowance)
    : medium_(medium),
      startSector_(startSector),
      size_(std::min(longest, medium.SizeInBytes() - startSector * medium.SectorSize())),
      allowance_(allowance) {}

bool CandidateReader::Read(std::int64_t offset, std::span<std::uint8_t> out) {
    const auto length = static_cast<std::int64_t>(out.size());
    if (offset < 0 || offset > size_ - length || !allowance_.Take(length) || !Fetch(offset, length)) {
        return false;
    }
    std::copy_n(piece_.begin() + (offset - pieceOffset_), length, out.begin());
    return true;
}

// Has the piece hold these bytes.
bool CandidateReader::Fetch(std::int64_t offset, std::int64_t length) {
    const auto held = static_cast<std::int64_t>(piece_.size());
    if (offset >= pieceOffset_ && offset + length <= pieceOffset_ + held) {
        return true;
    }
    const std::int64_t sectorSize = medium_.SectorSize();
    const std::int64_t first = offset / sectorSize;
    const std::int64_t end = std::min(std::max(offset + length, first * sectorSize + PieceBytes), size_);
    const std::int64_t count = (end + sectorSize - 1) / sectorSize - first;
    if (!allowance_.Take(count * sectorSize)) {
        return false;
    }
    piece_.resize(static_cast<std::size_t>(count * sectorSize));
    medium_.Read(startSector_ + first, piece_.data(), count);
    pieceOffset_ = first * sectorSize;
    return true;
}

}  // namespace salvor
