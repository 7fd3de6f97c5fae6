#pragma once

#include <cstdint>
#include <optional>

#include "frame/read/Budget.h"
#include "frame/read/Candidate.h"
#include "frame/read/KFileSimulator.h"

/// One reader for the candidates of a scan, since neighbouring ones often read the same bytes. It is made when the
/// first of them needs it, and knows what it has read as long as blocks follow each other.
class SharedReader {
public:
    /// Forgets what was read, for another scan.
    void Reset() { reader_.reset(); }

    /// Goes on to a block; the previous block may be gone.
    void EnterBlock(const SectorBlock& block) {
        const bool continues =
            source_ == block.source && sectorSize_ == block.sectorSize && nextSector_ == block.firstSector;
        if (!continues) {
            reader_.reset();
        }
        isBound_ = false;
        source_ = block.source;
        sectorSize_ = block.sectorSize;
        nextSector_ = static_cast<std::int64_t>(static_cast<std::uint64_t>(block.firstSector) +
                                                static_cast<std::uint64_t>(block.sectorCount));
    }

    /// The reader, set to this candidate, at any position. It charges the budget, if any, which outlives the scan.
    KFileSimulator& Of(const Candidate& candidate, Budget* budget) {
        if (!reader_) {
            reader_.emplace(&candidate.block, candidate.startSector, 0, budget);
        } else if (isBound_) {
            reader_->Rebase(candidate.startSector);
        } else {
            reader_->Rebase(candidate.block, candidate.startSector);
        }
        isBound_ = true;
        return *reader_;
    }

private:
    std::optional<KFileSimulator> reader_;
    // The reader has been set to the current block.
    bool isBound_ = false;
    // The source and sector size of the current block, and where the next block would begin.
    const ISectorSource* source_ = nullptr;
    std::int32_t sectorSize_ = 0;
    std::int64_t nextSector_ = 0;
};
