#pragma once

#include <cstdint>

/// Tells what a scanner's later finds depend on besides the blocks to come, for hosts that cut a medium into segments
/// and scan each with scanners of its own. Every scanner of the factory has this interface besides `IRawFileType`, and
/// `dynamic_cast` finds it; a scanner without it counts as never at rest. Both questions are asked between two blocks.
///
/// "A new scanner" means one in a new process, since some types keep the last file across scans. It is given the same
/// stream: the same sector numbers, source, geometry and cap.
class IRestingScanner {
public:
    IRestingScanner() = default;
    IRestingScanner(const IRestingScanner&) = delete;
    IRestingScanner& operator=(const IRestingScanner&) = delete;

    /// True if a new scanner would report the same from the next block on, which begins at `nextSector`. State that
    /// merely saves work does not count. Nor does the budget: a scanner that already knows the bytes ahead uses it up
    /// later.
    virtual bool IsAtRest(std::int64_t nextSector) const = 0;

    /// How often since the scan began the scanner needed something from a file before the scan's first block, did
    /// not have it, and went on as if no such file was there. What it reported of a block over which this number has
    /// grown holds only for a scan that began at the medium's start. `IsAtRest` leaves this dependence out.
    virtual std::int64_t GuessCount() const = 0;

protected:
    ~IRestingScanner() = default;
};
