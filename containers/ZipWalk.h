#pragma once

#include <cstdint>
#include <optional>

#include "containers/ZipFormat.h"
#include "frame/memory/Trail.h"
#include "frame/read/Budget.h"
#include "frame/read/KFileSimulator.h"
#include "frame/scan/SectorScan.h"

/// Walks the records of ZIP archives from their first local header to the end of the central directory. The check of
/// the first central header apart, a walk does not depend on where it began, so walks that meet share a `Trail`.
class ZipWalk {
public:
    struct Archive {
        /// Bytes from the first local header to the end of the archive's comment.
        std::int64_t size;
        /// Decided by the first name of the directory that decides one.
        std::int32_t kind;
    };

    /// Forgets what is known of the medium.
    void Reset() {
        trail_.Reset();
        budget_.Reset();
    }

    void EnterBlock(const SectorBlock& block) {
        trail_.EnterBlock(block);
        budget_.EnterBlock(block);
    }

    /// The archive that begins at a sector of the block, which begins with a whole local header. Nothing if the records
    /// do not lead to an end, if the first central header does not point at a matching local header, or if the records
    /// in front of the last one have more than 512 MiB, or if the walk was given up for what it costs.
    std::optional<Archive> Measure(const Candidate& candidate);

private:
    // What records in a row tell; of two rows behind one another, the first to tell something counts.
    struct Facts {
        bool hasCentralHeader = false;
        bool hasEnd = false;
        std::int32_t kind = ZipKind::Plain;
        // Of the first central header, which count from the start of the archive, in bytes.
        std::uint32_t localOffset = 0;
        std::uint32_t compressedSize = 0;

        void Append(const Facts& behind);
    };
    using Step = Trail<Facts>::Stretch;

    static Step ReadRecord(KFileSimulator& reader, std::int64_t offset);
    static Step ReadLocalHeader(KFileSimulator& reader, std::int64_t offset);
    static Step ReadCentralHeader(KFileSimulator& reader, std::int64_t offset);
    static Step ReadEnd(KFileSimulator& reader, std::int64_t offset);
    bool LeadsToFirstMember(const Candidate& candidate, const Facts& facts);

    Budget budget_;
    Trail<Facts> trail_{&budget_};
};
