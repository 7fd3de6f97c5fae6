#include "frame/bytes/ByteWindow.h"

#include <algorithm>

ByteSpan ByteWindow::PartFrom(ByteSpan range, std::int64_t start, std::int64_t offset) {
    if (offset < start || offset - start >= static_cast<std::int64_t>(range.size())) {
        return {};
    }
    return range.subspan(static_cast<std::size_t>(offset - start));
}

ByteSpan ByteWindow::From(std::int64_t offset, std::size_t wanted) {
    if (offset < 0 || offset >= limit_) {
        return {};
    }
    const auto left = static_cast<std::uint64_t>(limit_ - offset);
    const std::size_t enough = left < wanted ? static_cast<std::size_t>(left) : wanted;
    if (const ByteSpan bytes = PartFrom(piece_, pieceStart_, offset); !bytes.empty() && bytes.size() >= enough) {
        return bytes;
    }
    ++pieceCount_;
    pieceStart_ = offset;
    piece_ = {};
    piece_ = LoadPiece(offset, enough, left < PieceBytes ? static_cast<std::size_t>(left) : PieceBytes);
    return piece_;
}

bool ByteWindow::Copy(std::int64_t offset, std::span<std::uint8_t> bytes) {
    while (!bytes.empty()) {
        const ByteSpan shown = At(offset, std::min(bytes.size(), PieceBytes));
        if (shown.empty()) {
            return false;
        }
        std::ranges::copy(shown, bytes.begin());
        offset += static_cast<std::int64_t>(shown.size());
        bytes = bytes.subspan(shown.size());
    }
    return true;
}

std::optional<std::int64_t> ByteWindow::Find(const BytePattern& pattern, std::int64_t from, std::int64_t to) {
    while (from < to) {
        ByteSpan bytes = From(from, pattern.size());
        if (static_cast<std::int64_t>(bytes.size()) > to - from) {
            bytes = bytes.first(static_cast<std::size_t>(to - from));
        }
        if (bytes.size() < pattern.size()) {
            return std::nullopt;
        }
        if (const std::optional<std::size_t> found = pattern.FindIn(bytes)) {
            return from + static_cast<std::int64_t>(*found);
        }
        from += static_cast<std::int64_t>(bytes.size() - pattern.size()) + 1;
    }
    return std::nullopt;
}
