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

/// The journals of a scan's parts in a folder of a job. Several runs may add to it at the same time, also from several
/// machines.
class SegmentStore {
public:
    /// Where they stand in the job's folder.
    static constexpr const char* FolderName = "segments";

    /// Makes the folder in that of the job if it is missing. Throws `Failure` (not started) if it cannot.
    SegmentStore(const Folder& job, ScanKey key, ScanGrid grid);

    const ScanKey& Key() const { return key_; }
    const ScanGrid& Grid() const { return grid_; }
    std::filesystem::path JobPath() const { return folder_.Path().parent_path(); }

    /// A segment whose finds stay in its journal.
    struct Stored {
        /// The journal's.
        std::string name;
        SegmentScan segment;
        std::vector<SectorRange> unreadable;
        /// Its number of finds, by type.
        std::map<std::int32_t, std::int64_t> counts;
    };
    /// All journals that are whole and of this scan. The person is told of others, which are ignored.
    std::vector<Stored> ReadAll() const;
    /// The whole of one. Throws `Failure` (losses) if it is no longer there.
    SegmentScan Read(const std::string& name) const;
    /// The blocks of all journals whose first line is good, without reading more of them.
    std::vector<BlockRange> BlocksThere() const;

    /// A journal on its way.
    struct Draft {
        std::string name;
        File file;
    };
    /// For a part of these blocks. Throws `Failure` (losses) when it cannot be made.
    Draft Begin(BlockRange blocks) const;
    /// Takes a draft that has been written into the store once it is on stable storage; gives it as read back, nothing
    /// if it is not whole. Throws `Failure` (losses) when it cannot be stored.
    std::optional<Stored> Keep(Draft draft) const;
    void Drop(Draft draft) const;
    /// The same for what this process has found out itself.
    void Add(const SegmentScan& segment) const;

    /// Removes all journals, those of other scans too.
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
