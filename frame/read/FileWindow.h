#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>

#include "frame/bytes/ByteWindow.h"
#include "frame/read/Budget.h"
#include "frame/read/Candidate.h"
#include "frame/read/SharedReader.h"

/// A candidate file on the medium that is being scanned. Bytes of the current block are shown in place, without a copy;
/// others are read ahead.
class FileWindow final : public ByteWindow {
public:
    /// Shows nothing from `limit` bytes on, nothing farther from the start than the medium is large, and nothing once
    /// the budget is exhausted. All of them outlive the window; the reader serves the candidate's block.
    FileWindow(const Candidate& candidate, std::int64_t limit, Budget& budget, SharedReader& reader);

    std::int64_t SectorSize() const override { return candidate_.block.sectorSize; }

    /// True if these shown bytes are the block's own, which all walks of the block see alike.
    bool IsOfBlock(ByteSpan bytes) const {
        return std::greater_equal<>()(bytes.data(), blockBytes_.data()) &&
               std::less<>()(bytes.data(), blockBytes_.data() + blockBytes_.size());
    }

    void Charge(std::int64_t bytes) override { budget_.Charge(bytes); }
    bool IsExhausted() const override { return budget_.IsExhausted(); }

private:
    // The cost of a piece of the block, which is not copied, in bytes: most walks look at the start of it only.
    static constexpr std::int64_t PieceInBlockCost = 0x1000;

    ByteSpan LoadPiece(std::int64_t offset, std::size_t wanted, std::size_t length) override;

    const Candidate& candidate_;
    ByteSpan blockBytes_;
    Budget& budget_;
    SharedReader& reader_;
    std::array<std::uint8_t, PieceBytes> buffer_;
};
