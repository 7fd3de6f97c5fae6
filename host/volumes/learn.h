#pragma once

#include <atomic>
#include <cstdint>
#include <future>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/medium/image_spec.h"
#include "host/medium/medium.h"
#include "host/medium/scan_medium.h"
#include "host/platform/file_place.h"
#include "host/validate/cluster_grid.h"
#include "host/validate/outcome.h"
#include "host/volumes/knowledge.h"
#include "host/volumes/knowledge_file.h"
#include "host/volumes/known_files.h"

namespace salvor {

/// What to find out besides the volumes.
struct LearnRequest {
    bool used = false;
    /// Also the slack of living files.
    bool files = false;
    /// Set once nobody waits for the answer any more; may be null.
    const std::atomic<bool>* isLeft = nullptr;
};

/// Lets a worker process, which opens the medium as `image` says, read the partition table and the file systems. If it
/// fails on the way, the user is informed, and what it found until then is used.
Knowledge LearnVolumes(Medium& medium, const ImageSpec& image, LearnRequest request);

/// The part of an image's sectors that is to be scanned. The user is informed of volumes that are scanned whole. Throws
/// `Failure` (not started) if the part is empty or has too many pieces.
std::shared_ptr<const Space> LearnSpace(Medium& medium, const ImageSpec& image, SpaceKind kind, SectorRange range);

/// The default path of what the file systems of a medium know: `card.known` beside `card.finds`.
std::string KnownPathOf(const std::string& findsPath);

/// Asks the file systems of an image on a thread of its own, while the image is scanned.
class FileSystemsAhead {
public:
    /// The medium outlives this.
    FileSystemsAhead(Medium& medium, const ImageSpec& image);
    FileSystemsAhead(const FileSystemsAhead&) = delete;
    FileSystemsAhead& operator=(const FileSystemsAhead&) = delete;
    /// Gives up what has not been taken.
    ~FileSystemsAhead() { isLeft_ = true; }

    /// Waits for the answer. To be called once.
    Knowledge Take() { return learning_.get(); }

private:
    std::atomic<bool> isLeft_ = false;
    std::future<Knowledge> learning_;
};

/// What the file systems' knowledge is compared with.
struct KnownRequest {
    /// The image from which the medium was opened.
    ImageSpec image;
    /// In bytes by factory index.
    std::map<std::int32_t, std::int64_t> caps;
    /// The digest of the sightings that the outcomes belong to.
    std::string digest;
    /// If they are being asked already; else null.
    FileSystemsAhead* ahead = nullptr;
};

/// What the file systems of a medium know. Answers are stored at `place`, if there is one; what is stored there, or at
/// one of `earlier`, is not asked again.
class AskedFileSystems {
public:
    /// The medium outlives this.
    AskedFileSystems(const ScanMedium& scanned, KnownRequest request, std::optional<FilePlace> place,
                     const std::vector<FilePlace>& earlier);
    AskedFileSystems(const AskedFileSystems&) = delete;
    AskedFileSystems& operator=(const AskedFileSystems&) = delete;

    /// Where their clusters lie, in sectors of what is scanned.
    std::vector<GridStretch> Grids() const;

    /// Improves the outcomes with what is known about the files of the medium, showing progress; see `PreferKnown`. If
    /// a space is scanned, only the deleted files that begin in it count. The outcomes' indices refer to the returned
    /// files. `starts` are the sectors, ascending, that begin with a validator's own signature. To be called once.
    KnownFiles Improve(Outcomes& outcomes, const std::vector<std::int64_t>& starts, bool quiet);

private:
    const ScanMedium& scanned_;
    KnownRequest request_;
    std::optional<FilePlace> place_;
    KeptKnowledge kept_;
    // An earlier run stored it at `place_`.
    bool isFromPlace_ = false;
    // Null if nothing is stored.
    std::unique_ptr<KnowledgeWriter> writer_;
    // Stores what was learnt, while the finds are validated. Goes first, as its thread uses the others.
    std::future<void> storing_;
};

}  // namespace salvor
