#pragma once

#include <optional>

#include "frame/read/Budget.h"
#include "frame/read/Candidate.h"
#include "frame/read/KFileSimulator.h"

/// One reader for the candidates of a block, since neighbouring ones often read the same bytes behind it. It is made
/// when the first of them needs it.
class SharedReader {
public:
    /// A block is no longer used once the next one was entered or the scan was reset.
    void Reset() { reader_.reset(); }

    /// Reads the candidate, from any position; charges the budget, if any, which outlives the block.
    KFileSimulator& Of(const Candidate& candidate, Budget* budget) {
        if (!reader_) {
            reader_.emplace(&candidate.block, candidate.startSector, 0, budget);
        } else {
            reader_->Rebase(candidate.startSector);
        }
        return *reader_;
    }

private:
    std::optional<KFileSimulator> reader_;
};
