#pragma once

#include <cstdint>
#include <optional>

#include "containers/ZipFormat.h"
#include "frame/memory/BudgetedTrail.h"
#include "frame/read/KFileSimulator.h"
#include "frame/scan/SectorScan.h"

/// The facts from consecutive records. Of two stretches, the first that has a fact counts.
struct ZipFacts {
    bool hasCentralHeader = false;
    bool hasEnd = false;
    std::int32_t kind = ZipKind::Plain;
    /// From the first central header; offsets in bytes from the start of the archive.
    std::uint32_t localOffset = 0;
    std::uint32_t compressedSize = 0;

    void Append(const ZipFacts& behind);
};

/// Walks the records of ZIP archives from their first local header to the end of the central directory. Except for the
/// check of the first central header, a walk does not depend on where it began, so walks that meet share a `Trail`.
class ZipWalk : public BudgetedTrail<ZipFacts> {
public:
    struct Archive {
        /// Bytes from the first local header to the end of the archive's comment.
        std::int64_t size;
        /// Decided by the first deciding name in the directory.
        std::int32_t kind;
    };

    /// The archive that begins at a sector that starts with a whole local header. Nothing if the records do not lead to
    /// an end, if the first central header does not point at a matching local header, if the records before the last
    /// one exceed 512 MiB, or if the budget is used up.
    std::optional<Archive> Measure(const Candidate& candidate);

private:
    using Step = Trail<ZipFacts>::Stretch;

    static Step ReadRecord(KFileSimulator& reader, std::int64_t offset);
    static Step ReadLocalHeader(KFileSimulator& reader, std::int64_t offset);
    static Step ReadCentralHeader(KFileSimulator& reader, std::int64_t offset);
    static Step ReadEnd(KFileSimulator& reader, std::int64_t offset);
    bool LeadsToFirstMember(const Candidate& candidate, const ZipFacts& facts);
};
