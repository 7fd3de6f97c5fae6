#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "frame/bytes/ByteWindow.h"
#include "host/medium/medium.h"

namespace salvor {

/// How many bytes may still be read; shared by all places of a run.
class ReadAllowance {
public:
    explicit ReadAllowance(std::int64_t bytes) : left_(bytes) {}
    /// Takes `bytes` off. If fewer are left, the allowance is used up for good.
    void Take(std::int64_t bytes) { left_ = bytes <= left_ ? left_ - bytes : -1; }
    bool IsUsedUp() const { return left_ < 0; }
    std::int64_t Left() const { return left_ < 0 ? 0 : left_; }

private:
    std::int64_t left_;
};

/// Where a file system lets files begin: at the sectors with the remainder `phase` modulo `sectorsPerCluster`. With one
/// sector a cluster, a file may begin anywhere.
struct ClusterGrid {
    std::int64_t sectorsPerCluster = 1;
    std::int64_t phase = 0;

    bool Holds(std::int64_t sector) const { return sector % sectorsPerCluster == phase; }
    bool operator==(const ClusterGrid&) const = default;
};

/// What is known of the sectors around a place. Both lists are ascending and count from the medium's start.
struct Neighbours {
    /// Sectors where a scanner, or a validator's own signature, saw the start of a file; plain text does not count.
    std::vector<std::int64_t> starts;
    /// Sectors where whole files begin. Empty while files are validated by their structure alone; see
    /// `Validator::Phase`.
    std::vector<std::int64_t> wholes;
    /// The grid at the place. Filled in together with `wholes`.
    ClusterGrid grid = {};
    /// The rest of a file's last cluster is zeros, as far as the whole files show; else it may have older bytes.
    bool isSlackClean = false;
};

/// Where walks over very large files are, for a run that is stopped and goes on.
class WalkNotes {
public:
    virtual ~WalkNotes() = default;
    /// What a stopped run noted last for the walk that begins now; empty if nothing.
    virtual std::vector<std::int64_t> Last() = 0;
    /// Asked after every reading; true if a note is due.
    virtual bool AreDue() = 0;
    virtual void Take(std::vector<std::int64_t> note) = 0;
};

/// A place on the medium where a file may begin, as a validator sees it: the bytes from there to the medium's end, and
/// what begins around it. Sectors that cannot be read are zeros. Offsets are in bytes from the place.
class Place final : public ByteWindow {
public:
    /// `startSector` lies on the medium. The medium, the neighbours and the allowance outlive this.
    Place(Medium& medium, std::int64_t startSector, const Neighbours& neighbours, ReadAllowance& allowance);

    std::int64_t SectorSize() const override { return medium_.SectorSize(); }
    std::int64_t StartSector() const { return startSector_; }

    /// Offset of the first sector at or after `offset`, and after the place itself, at which a file seems to begin;
    /// `Limit()` if there is none. A JPEG inside a document counts too: it shows where a broken stream may stop, not
    /// that this file ends.
    std::int64_t NextStart(std::int64_t offset) const;

    /// The same for whole files. None is known in the first phase.
    std::int64_t NextWhole(std::int64_t offset) const;

    /// Is there a sector at `offset` that seems to begin a file?
    bool IsStart(std::int64_t offset) const { return offset > 0 && NextStart(offset) == offset && offset < Limit(); }

    /// The cluster size in bytes if a cluster begins here; 0 if not, or if clusters are unknown.
    std::int64_t ClusterBytes() const;
    /// Is the rest of files' last clusters zeros?
    bool IsSlackClean() const { return neighbours_.isSlackClean; }

    /// The notes outlive this.
    void SetNotes(WalkNotes* notes) { notes_ = notes; }
    WalkNotes* Notes() const { return notes_; }
    /// The notes if they are due; null if not.
    WalkNotes* DueNotes() { return std::exchange(areNotesDue_, false) ? notes_ : nullptr; }

    void Charge(std::int64_t bytes) override { allowance_.Take(bytes); }
    bool IsExhausted() const override { return allowance_.IsUsedUp(); }

private:
    std::int64_t Next(const std::vector<std::int64_t>& sectors, std::int64_t offset) const;
    ByteSpan LoadPiece(std::int64_t offset, std::size_t wanted, std::size_t length) override;

    Medium& medium_;
    std::int64_t startSector_;
    const Neighbours& neighbours_;
    ReadAllowance& allowance_;
    WalkNotes* notes_ = nullptr;
    bool areNotesDue_ = false;
    std::int64_t leastRead_;
    // Whole sectors, the first of which begins at bufferStart_.
    std::vector<std::uint8_t> buffer_;
    std::int64_t bufferStart_ = 0;
};

}  // namespace salvor
