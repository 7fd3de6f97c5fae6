#pragma once

#include <cstdint>
#include <optional>

#include "containers/ZipFormat.h"
#include "frame/memory/ScanOffsets.h"
#include "frame/memory/WalkShortcuts.h"
#include "frame/read/Budget.h"
#include "frame/read/KFileSimulator.h"
#include "frame/scan/SectorScan.h"

/// Walks the records of ZIP archives from their first local header to the end of the central directory.
///
/// A walk depends on where it began only by its length limit and by the check of the first central header, so one that
/// meets the records of an earlier walk need not read them again: long walks leave shortcuts behind. The shortcuts
/// serve the blocks of one scan, each of which continues the one before, and take some 60 MiB at the most. Made-up
/// media can hold more chains of records than that: a walk that has used up the scan's `Budget` ends without an
/// archive.
class ZipWalk {
public:
    struct Archive {
        /// Bytes from the first local header to the end of the archive's comment.
        std::int64_t size;
        /// Decided by the first name of the directory that decides one.
        std::int32_t kind;
    };

    /// Forgets what is known of the medium.
    void Reset();

    /// The walks to come start in this block, which outlives them. Reads go through its source.
    void EnterBlock(const SectorBlock& block);

    /// The archive that begins at a sector of the block, which begins with a whole local header. Nothing if the records
    /// do not lead to an end, if the first central header does not point at a matching local header, or if the records
    /// in front of the last one have more than 512 MiB.
    std::optional<Archive> Measure(const Candidate& candidate, std::uint64_t lengthHint);

private:
    // What records in a row tell; of two rows behind one another, the first to tell something counts.
    struct Facts {
        bool hasCentralHeader = false;
        std::int32_t kind = ZipKind::Plain;
        // Of the first central header, which count from the start of the archive, in bytes.
        std::uint32_t localOffset = 0;
        std::uint32_t compressedSize = 0;

        void Append(const Facts& behind);
    };
    // Positions are places of `row_`.
    using Shortcuts = WalkShortcuts<Facts, std::size_t{1} << 19>;
    struct Step : Shortcuts::Shortcut {
        bool endsArchive;
    };

    static std::optional<Step> ReadRecord(KFileSimulator& reader, std::int64_t position);
    static std::optional<Step> ReadLocalHeader(KFileSimulator& reader, std::int64_t position);
    static std::optional<Step> ReadCentralHeader(KFileSimulator& reader, std::int64_t position);
    static std::optional<Step> ReadEnd(KFileSimulator& reader, std::int64_t position);
    bool LeadsToFirstMember(const Facts& facts, std::int64_t start);

    ScanOffsets row_;
    Budget budget_;
    std::optional<KFileSimulator> walker_;
    std::optional<KFileSimulator> checker_;
    Shortcuts shortcuts_;
};
