#include "frame/read/FileWindow.h"

#include <algorithm>

#include "frame/contract/ISectorSource.h"

// The buffer is filled before it is read.
// NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init)
FileWindow::FileWindow(const Candidate& candidate, std::int64_t limit, Budget& budget)
    : ByteWindow(std::max<std::int64_t>(std::min(limit, MediumSize(candidate.block)), 0)),
      candidate_(candidate),
      blockBytes_(candidate.RestOfBlock()),
      budget_(budget) {}

ByteSpan FileWindow::LoadPiece(std::int64_t offset, std::size_t wanted, std::size_t length) {
    if (budget_.IsExhausted()) {
        return {};
    }
    budget_.Charge(PieceBytes);
    if (const ByteSpan bytes = PartFrom(blockBytes_, 0, offset); !bytes.empty() && bytes.size() >= wanted) {
        return bytes.first(std::min(bytes.size(), length));
    }
    if (!reader_) {
        reader_.emplace(&candidate_.block, candidate_.startSector, static_cast<std::uint64_t>(Limit()));
    }
    reader_->Seek(offset);
    return reader_->Read(buffer_.data(), static_cast<std::uint32_t>(length)) ? ByteSpan(buffer_).first(length)
                                                                             : ByteSpan();
}
