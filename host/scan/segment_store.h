#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "host/platform/folder.h"
#include "host/say/failure.h"
#include "host/scan/segment_journal.h"

namespace salvor {

/// The journals of a scan's parts, in the folder of a job. Several runs may add to it at the same time, even from
/// several machines.
class SegmentStore {
public:
    /// The journals' folder in the job's folder.
    static constexpr const char* FolderName = "segments";

    /// Makes the folder if it is missing. Throws `Failure` (not started) if it cannot.
    SegmentStore(const Folder& job, ScanKey key, ScanGrid grid);

    const ScanKey& Key() const { return key_; }
    const ScanGrid& Grid() const { return grid_; }
    std::filesystem::path JobPath() const { return folder_.Path().parent_path(); }

    /// A segment whose finds stay in its journal.
    struct Stored {
        /// The journal's name.
        std::string name;
        SegmentScan segment;
        std::vector<SectorRange> unreadable;
        /// The number of finds, by type.
        std::map<std::int32_t, std::int64_t> counts;
    };
    /// All journals that are complete and of this scan. The user is informed of others, which are ignored.
    std::vector<Stored> ReadAll() const;
    /// Reads a whole journal. Throws `Failure` (losses) if it no longer exists.
    SegmentScan Read(const std::string& name) const;
    /// The blocks of all journals with a valid first line; does not read further.
    std::vector<BlockRange> BlocksThere() const;

    /// A journal that is being written.
    struct Draft {
        std::string name;
        File file;
    };
    /// Creates a journal for a part of these blocks. Throws `Failure` (losses) if it cannot be created.
    Draft Begin(BlockRange blocks) const;
    /// Takes a written draft into the store once it is on stable storage. Gives it as read back, or nothing if it is
    /// not complete. Throws `Failure` (losses) if it cannot be stored.
    std::optional<Stored> Keep(Draft draft) const;
    void Drop(Draft draft) const;
    /// The same for what this process has found itself.
    void Add(const SegmentScan& segment) const;

    /// Removes all journals, even those of other scans.
    void Clear() const;

private:
    std::vector<std::string> Names() const;
    std::vector<std::string> Journals() const;
    Failure Failed(const std::string& why) const;

    Folder folder_;
    ScanKey key_;
    ScanGrid grid_;
};

}  // namespace salvor
