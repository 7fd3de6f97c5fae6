#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "frame/ByteMark.h"
#include "frame/Bytes.h"
#include "frame/KFileSimulator.h"
#include "frame/SectorScan.h"
#include "frame/WorkMeter.h"

/// The medium's size in bytes; the largest number where the host gives no sound geometry.
std::int64_t MediumSize(const SectorBlock& block);

/// Shows a candidate file's bytes in contiguous pieces, at any offset from its start, to scanners that decode or search
/// what lies behind a header. Bytes of the block in hand are shown where they stand; others are read ahead.
///
/// Offsets are in bytes from the candidate's start. A span is valid until the next call.
class FileWindow {
public:
    /// The length of a piece, in bytes: the most that one call shows for sure, and what a new piece costs.
    static constexpr std::size_t PieceBytes = 0x4000;

    /// Nothing is shown from `limit` bytes on, nor farther from the start than the medium is large, nor once the meter
    /// is exhausted. The candidate and the meter outlive the window.
    FileWindow(const Candidate& candidate, std::int64_t limit, WorkMeter& meter);

    std::int64_t Limit() const { return limit_; }
    std::int64_t SectorSize() const { return candidate_.block.sectorSize; }

    /// Adds to the walk's cost what it does with the bytes shown, where that takes far longer than to read them: in
    /// bytes that could be read meanwhile.
    void Charge(std::int64_t bytes) { meter_.Charge(bytes); }
    /// True when the walk has cost what it may: no new piece is shown, but all of the one in hand.
    bool IsSpent() const { return meter_.IsExhausted(); }

    /// The `length` bytes at `offset`, at most `PieceBytes`; empty if not all of them can be shown.
    ByteSpan At(std::int64_t offset, std::size_t length);

    /// All bytes of a piece from `offset` on: `wanted` (1 to `PieceBytes`) or more of them, fewer only in front of the
    /// limit; empty at the limit, for a negative offset and where nothing can be read.
    ByteSpan From(std::int64_t offset, std::size_t wanted = 1);

    /// Offset of the first occurrence of the mark that begins at `from` or behind it and ends at `to` or before it. The
    /// mark has at most `PieceBytes`.
    std::optional<std::int64_t> Find(const ByteMark& mark, std::int64_t from, std::int64_t to);

private:
    ByteSpan LoadPiece(std::int64_t offset, std::size_t wanted, std::size_t length);

    const Candidate& candidate_;
    ByteSpan blockBytes_;
    std::int64_t limit_;
    WorkMeter& meter_;
    // The piece in hand: bytes of the block or of the buffer.
    ByteSpan piece_;
    std::int64_t pieceStart_ = 0;
    // Made when the first byte behind the block is wanted.
    std::optional<KFileSimulator> reader_;
    std::array<std::uint8_t, PieceBytes> buffer_;
};
