#include "frame/read/FileWindow.h"

#include <algorithm>

// The buffer is filled before it is read.
// NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init)
FileWindow::FileWindow(const Candidate& candidate, std::int64_t limit, Budget& budget, SharedReader& reader)
    : ByteWindow(std::max<std::int64_t>(std::min(limit, MediumSize(candidate.block)), 0)),
      candidate_(candidate),
      blockBytes_(candidate.RestOfBlock()),
      budget_(budget),
      reader_(reader) {}

ByteSpan FileWindow::LoadPiece(std::int64_t offset, std::size_t wanted, std::size_t length) {
    if (budget_.IsExhausted()) {
        return {};
    }
    // At the end of the budget every byte counts.
    const auto affordable = static_cast<std::size_t>(std::min<std::int64_t>(budget_.Left(), PieceBytes));
    const std::size_t shown = std::min(length, std::max(wanted, affordable));
    if (const ByteSpan bytes = PartFrom(blockBytes_, 0, offset); bytes.size() >= wanted) {
        const ByteSpan part = bytes.first(std::min(bytes.size(), shown));
        budget_.Charge(std::min(static_cast<std::int64_t>(part.size()), PieceInBlockCost));
        return part;
    }
    KFileSimulator& reader = reader_.Of(candidate_, &budget_);
    reader.Seek(offset);
    budget_.Charge(static_cast<std::int64_t>(shown));
    return reader.Read(buffer_.data(), static_cast<std::uint32_t>(shown)) ? ByteSpan(buffer_).first(shown) : ByteSpan();
}
