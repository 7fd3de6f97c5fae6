#pragma once

#include "frame/memory/Trail.h"
#include "frame/read/Budget.h"

/// What the walks of a scan share: a trail, and the budget that bounds their cost.
template <class Facts>
class BudgetedTrail {
public:
    /// Forgets what is known of the medium.
    void Reset() {
        trail_.Reset();
        budget_.Reset();
    }
    void EnterBlock(const SectorBlock& block) {
        trail_.EnterBlock(block);
        budget_.EnterBlock(block);
    }
    bool IsAtRest() const { return budget_.IsAtRest(); }

protected:
    Budget budget_;
    Trail<Facts> trail_{&budget_};
};
