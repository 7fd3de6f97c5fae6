#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "frame/bytes/ByteWindow.h"
#include "frame/read/Budget.h"
#include "frame/read/Candidate.h"
#include "frame/read/KFileSimulator.h"

/// A candidate file on the medium that is being scanned. Bytes of the current block are shown in place, without a copy;
/// others are read ahead.
class FileWindow final : public ByteWindow {
public:
    /// Shows nothing from `limit` bytes on, nothing farther from the start than the medium is large, and nothing once
    /// the budget is exhausted. The candidate and the budget outlive the window.
    FileWindow(const Candidate& candidate, std::int64_t limit, Budget& budget);

    std::int64_t SectorSize() const override { return candidate_.block.sectorSize; }

    void Charge(std::int64_t bytes) override { budget_.Charge(bytes); }
    bool IsExhausted() const override { return budget_.IsExhausted(); }

private:
    ByteSpan LoadPiece(std::int64_t offset, std::size_t wanted, std::size_t length) override;

    const Candidate& candidate_;
    ByteSpan blockBytes_;
    Budget& budget_;
    // Made when the first byte behind the block is asked for.
    std::optional<KFileSimulator> reader_;
    std::array<std::uint8_t, PieceBytes> buffer_;
};
