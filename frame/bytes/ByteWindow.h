#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "frame/bytes/BytePattern.h"
#include "frame/bytes/Bytes.h"

/// Shows a file's bytes in contiguous pieces, at any offset from its start. Code that knows a format reads through this
/// class and so serves both the scanners and the program; derived classes get the bytes.
///
/// Offsets are in bytes from the file's start. A span is valid until the next call.
class ByteWindow {
public:
    /// The length of a piece, in bytes: the most that one call is sure to show, and the cost of a new piece.
    static constexpr std::size_t PieceBytes = 0x4000;

    ByteWindow(const ByteWindow&) = delete;
    ByteWindow& operator=(const ByteWindow&) = delete;
    virtual ~ByteWindow() = default;

    /// Nothing is shown from this offset on.
    std::int64_t Limit() const { return limit_; }

    /// The medium's sector size in bytes; files begin at the start of a sector.
    virtual std::int64_t SectorSize() const { return 512; }

    /// Adds the cost of work that takes far longer than reading the bytes did. In bytes that could be read in that
    /// time.
    virtual void Charge(std::int64_t bytes) = 0;
    /// True once the walk has used up its budget. The current piece is still shown then, so walks that work long on
    /// each piece must ask.
    virtual bool IsExhausted() const = 0;

    /// The `length` bytes at `offset`, at most `PieceBytes`; empty if not all of them can be shown.
    ByteSpan At(std::int64_t offset, std::size_t length) {
        const ByteSpan bytes = From(offset, length);
        return bytes.size() < length ? ByteSpan() : bytes.first(length);
    }

    /// All bytes of a piece from `offset` on: `wanted` (1 to `PieceBytes`) or more of them, fewer only before the
    /// limit; empty at the limit, for a negative offset and where nothing can be read.
    ByteSpan From(std::int64_t offset, std::size_t wanted = 1);

    /// The bytes of the current piece from `offset` on, at no cost; empty where it does not have them.
    ByteSpan Shown(std::int64_t offset) const { return PartFrom(piece_, pieceStart_, offset); }

    /// How many pieces were loaded. What is known of a piece's bytes holds while this number stays.
    std::int64_t PieceCount() const { return pieceCount_; }

    /// Fills `bytes`, any number of them, from an offset on; false, with some of them filled, if not all can be shown.
    bool Copy(std::int64_t offset, std::span<std::uint8_t> bytes);

    /// Offset of the first occurrence of the pattern that begins at or after `from` and ends at or before `to`. The
    /// pattern has at most `PieceBytes`.
    std::optional<std::int64_t> Find(const BytePattern& pattern, std::int64_t from, std::int64_t to);

protected:
    explicit ByteWindow(std::int64_t limit) : limit_(limit) {}

    /// A piece from `offset` on with `wanted` bytes or more, at most `length`; empty if it cannot be read. `offset +
    /// length` is within the limit. The bytes stay valid until the next call.
    virtual ByteSpan LoadPiece(std::int64_t offset, std::size_t wanted, std::size_t length) = 0;

    /// The bytes from `offset` on of a range that begins at `start`; empty when `offset` lies outside.
    static ByteSpan PartFrom(ByteSpan range, std::int64_t start, std::int64_t offset);

private:
    std::int64_t limit_;
    // The current piece.
    ByteSpan piece_;
    std::int64_t pieceStart_ = 0;
    std::int64_t pieceCount_ = 0;
};
